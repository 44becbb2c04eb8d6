#pragma once
#include <functional>

// Whether the virtual capture driver that system-audio capture records from
// is installed and current, and the prompt that offers to install it.
class VNAudioDriverManager {
public:
    using Completion = std::function<void()>;

    static bool isInstalled();
    static bool needsUpdate();
    // Prompts unless the driver is installed and current, or the user was
    // prompted already in this process and `forcePrompt` is false. The
    // completion runs once the prompt was answered (and an installer ran).
    static void checkAndPromptToInstall(Completion completion, bool forcePrompt);
};
