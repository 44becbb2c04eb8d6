#pragma once
#include <functional>
#include <string>
#include <vector>

namespace qcp::platform {

// A modal alert or an alert sheet (NSAlert): message text, informative text
// and the buttons from right to left, the first being the default.
struct Alert {
    std::string message;
    std::string informativeText;
    std::vector<std::string> buttons;
};

// What else the plug-in asks of the system: the screen-recording permission,
// its resource folder, alerts and installer runs.
//
// Called from any thread unless stated otherwise; the core passes texts
// already localised.
class System {
public:
    virtual ~System() = default;
    // Whether this process may record the screen. Asking never prompts the
    // user. Without the permission captures still run and deliver what the
    // system shows them (on macOS, the desktop without other windows' content).
    virtual bool hasScreenRecordingPermission() const = 0;
    // The absolute path of the plug-in's resource folder (the bundle's
    // Resources), without a trailing slash: installer packages and pictures.
    virtual std::string resourceFolder() const = 0;
    // Shows an alert without waiting for the user's answer (a sheet on the
    // open selection dialog, else a free-standing alert). Returns at once.
    virtual void showAlertSheet(const Alert& alert) = 0;
    // Shows an alert modally and returns the index of the chosen button in
    // `alert.buttons`, or -1 when it cannot be shown. Blocks the calling
    // thread until the user answers; the platform runs the alert on the main
    // queue, so the caller must not be the main queue's thread blocked on
    // something else.
    virtual int runModalAlert(const Alert& alert) = 0;
    // Opens the installer package at `path` in a process of its own (macOS:
    // the application that opens packages, brought to the front; Linux: the
    // file run by /bin/sh) and returns without waiting for it. When that
    // process ends, `exited` is called once with its exit status (-1 when it
    // did not exit normally) on a thread of the platform's, never inside this
    // call. When no process could be started, `exited` is never called.
    virtual void runInstallerPackage(const std::string& path, std::function<void(int exitStatus)> exited) = 0;
};

} // namespace qcp::platform
