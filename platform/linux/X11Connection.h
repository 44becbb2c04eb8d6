#pragma once
#include <X11/Xlib.h>

#include <memory>
#include <mutex>
#include <string>

namespace qcp::platform::x11 {

// One connection to the X server. Xlib connections are not shared between
// the plug-in's threads: each component that talks to the server from its
// own thread (a display stream) opens its own, and a component called from
// any thread (screens, windows, cursor) guards its connection with mutex().
// Its errors are caught by X11ErrorTrap, never passed to the host's handler.
class X11Connection {
public:
    // `name` is an X display name (":1"); empty means $DISPLAY. Null, with the
    // reason in `error`, when no connection can be made.
    static std::unique_ptr<X11Connection> Open(const std::string& name, std::string& error);
    ~X11Connection();
    X11Connection(const X11Connection&) = delete;
    X11Connection& operator=(const X11Connection&) = delete;

    Display* display() const { return fDisplay; }
    Window root() const { return DefaultRootWindow(fDisplay); }
    // The display name the connection was made to, for opening more.
    const std::string& name() const { return fName; }
    std::mutex& mutex() { return fMutex; }

private:
    X11Connection(Display* display, std::string name) : fDisplay(display), fName(std::move(name)) {}

    Display* fDisplay;
    const std::string fName;
    std::mutex fMutex;
};

} // namespace qcp::platform::x11
