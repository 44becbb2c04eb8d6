#pragma once
#include "System.h"

namespace qcp::platform::mac {

// The screen-recording permission from CoreGraphics (asked without a prompt);
// the resource folder of the bundle this code was loaded from; alerts through
// NSAlert on the main queue; installer packages opened by the application
// Launch Services names for them, run as a task whose end is reported from
// the task's own termination handler. Any thread.
class MacSystem final : public System {
public:
    bool hasScreenRecordingPermission() const override;
    std::string resourceFolder() const override;
    void showAlertSheet(const Alert& alert) override;
    int runModalAlert(const Alert& alert) override;
    void runInstallerPackage(const std::string& path, std::function<void(int exitStatus)> exited) override;
};

} // namespace qcp::platform::mac
