#pragma once
#include "System.h"

namespace qcp::platform::gtk {
class GtkLoop;
}

namespace qcp::platform::x11 {

// What else the plug-in asks of a Linux desktop. X11 lets any client read
// the screen, so the permission is always there. The resource folder is the
// folder the plug-in's library was loaded from. Alerts are GTK message
// dialogs; without GTK they are written to standard error and to the trace,
// and a modal alert reports that it could not be shown.
// Installer packages are shell scripts run by /bin/sh in a child process; a
// detached thread per run waits for it and reports its exit, touching
// nothing of this object, so a run may outlive the platform.
class X11System final : public System {
public:
    // `gtk` null: no dialogs.
    explicit X11System(gtk::GtkLoop* gtk) : fGtk(gtk) {}

    bool hasScreenRecordingPermission() const override { return true; }
    std::string resourceFolder() const override;
    void showAlertSheet(const Alert& alert) override;
    int runModalAlert(const Alert& alert) override;
    void runInstallerPackage(const std::string& path, std::function<void(int exitStatus)> exited) override;

private:
    gtk::GtkLoop* fGtk;
};

} // namespace qcp::platform::x11
