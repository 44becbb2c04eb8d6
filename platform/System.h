#pragma once
#include <string>
#include <vector>

namespace qcp::platform {

struct Alert {
    std::string message;
    std::string informativeText;
    std::vector<std::string> buttons; // first is the default
};

// The rest of the system the plug-in asks about.
class System {
public:
    virtual ~System() = default;
    virtual bool hasScreenRecordingPermission() const = 0;
    // The folder of the plug-in's own resources (installer packages, images).
    virtual std::string resourceFolder() const = 0;
    // Shows an alert and returns without waiting for it (a sheet, attached
    // to the selection dialog when one is open). Any thread.
    virtual void showAlertSheet(const Alert& alert) = 0;
    // Shows an alert modally; returns the index of the chosen button, or -1
    // when it could not be shown. Blocks the calling thread.
    virtual int runModalAlert(const Alert& alert) = 0;
};

} // namespace qcp::platform
