#pragma once
#include <functional>
#include <string>

// Whether the virtual capture driver that system-audio capture records from
// is installed and current, the prompt that offers to install or update it,
// and the runs of the installer and uninstaller packages kept in the
// plug-in's resource folder (the installed platform's System seam).
//
// Class methods only; any thread may call them, except that the prompt
// blocks its caller until the user answers (the platform runs it on the main
// queue, so the main queue's own thread must not wait on the caller). The
// only state is the process-wide "already prompted" flag. Completions are
// called at most once: at once on the caller's thread when the prompt is
// cancelled, or on the main queue (zQueue::Main()) half a second after the
// installer's process exits; never when nothing was launched.
class VNAudioDriverManager {
public:
    using Completion = std::function<void()>;

    static constexpr const char* kExpectedVersion = "1.0.3";
    static constexpr const char* kInstallPackage = "InstallOstrelAudioCapture.pkg";
    static constexpr const char* kUninstallPackage = "UninstallOstrelAudioDrivers.pkg";

    // The driver's played-into device exists.
    static bool isInstalled();
    // The driver is missing, its version cannot be read, or it orders
    // numerically before kExpectedVersion ("1.0.10" is newer than "1.0.3").
    static bool needsUpdate();
    // Unless the driver is installed and current, or the user was prompted
    // already in this process and `forcePrompt` is false, asks to install
    // (missing) or update (outdated) it. Installing passes `completion` on to
    // installAudioDriver; cancelling calls it at once. `completion` may be
    // empty.
    static void checkAndPromptToInstall(Completion completion, bool forcePrompt);
    // Runs the install package; false (with a user-log error) when the
    // platform, its resource folder or the package is missing.
    static bool installAudioDriver(Completion completion);
    // Runs the uninstall package; user-log errors as above.
    static void uninstallAudioDriver();
    // Runs the package at `path`; `completion` (may be empty) follows its
    // exit as described above.
    static void runPkgAt(const std::string& path, Completion completion);
};
