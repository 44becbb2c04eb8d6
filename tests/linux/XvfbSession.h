#pragma once
#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

// A private X server (Xvfb on a display number it picks itself) with an
// openbox window manager, for tests that need a real desktop. Both are
// stopped when the session goes.
class XvfbSession {
public:
    // Starts Xvfb with a 1920 x 1080 x 24 screen, Composite, DAMAGE and RandR,
    // plus `extraArguments` (e.g. "-extension", "MIT-SHM"), then openbox, and
    // points $DISPLAY at the server. Null, with the reason in `why`, when a
    // program is missing or does not come up within a few seconds. The
    // server picks a free display number unless `display` (":N") names one.
    static std::unique_ptr<XvfbSession> Start(const std::vector<std::string>& extraArguments, std::string& why,
                                              const std::string& display = {});
    // Starts a plain session on a display number above those servers pick
    // for themselves (they take the lowest free one), for a test that kills
    // its server and starts it again on the same number: a number in the
    // common range would be taken meanwhile by another test's new server.
    static std::unique_ptr<XvfbSession> StartApart(std::string& why);
    ~XvfbSession();
    XvfbSession(const XvfbSession&) = delete;
    XvfbSession& operator=(const XvfbSession&) = delete;

    const std::string& display() const { return fDisplay; }
    // Kills the X server outright, as a crash would, and waits until it is
    // gone; its clients lose their connections.
    void KillServer();

private:
    XvfbSession() = default;

    std::string fDisplay;
    pid_t fServer = -1;
    pid_t fWindowManager = -1;
};
