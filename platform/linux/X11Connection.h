#pragma once
#include <X11/Xlib.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "X11ServerState.h"

namespace qcp::platform::x11 {

// One connection to the X server, of one generation of the server's state.
// An Xlib connection is used by one thread at a time: each component that
// talks to the server from its own thread (a display stream) opens its own,
// and a component called from any thread (screens, windows, cursor) holds
// its own mutex around every use. Its errors are caught by X11ErrorTrap,
// never passed to the host's handler.
//
// Losing the server never ends the process. Xlib's fatal I/O error handling
// (which would call exit()) is replaced for the plug-in's connections: the
// thread that meets the broken connection marks it broken and the server's
// state lost, gives back the display lock Xlib keeps for the exit that does
// not come, and returns; its Xlib call fails and the thread unwinds as from
// any failed request. Users check usable() before each use and again after
// their requests (an answer read from a connection that broke meanwhile is
// not trusted). An unusable connection is only closed, which sends nothing
// to the server. The host's own connections keep the host's handler.
// (libX11 before 1.8 cannot resume after an I/O error; built against one,
// a lost server still ends the process as Xlib decides.)
class X11Connection {
public:
    // `name` is an X display name (":1"), not empty. Null, with the reason in
    // `error` ("cannot open X display :1"), when no connection can be made.
    static std::unique_ptr<X11Connection> Open(const std::string& name, std::shared_ptr<X11ServerState> state,
                                               uint64_t generation, std::string& error);
    ~X11Connection();
    X11Connection(const X11Connection&) = delete;
    X11Connection& operator=(const X11Connection&) = delete;

    Display* display() const { return fDisplay; }
    Window root() const { return DefaultRootWindow(fDisplay); }
    // The display name the connection was made to.
    const std::string& name() const { return fName; }
    // False once this connection broke, the server was lost through another
    // one, or a reconnection replaced its generation. Any thread.
    bool usable() const { return !fBroken.load(std::memory_order_acquire) && fState->Current(fGeneration); }

private:
    X11Connection(Display* display, std::string name, std::shared_ptr<X11ServerState> state, uint64_t generation);
    static void Broke(Display* display, void* connection);

    Display* const fDisplay;
    const std::string fName;
    const std::shared_ptr<X11ServerState> fState;
    const uint64_t fGeneration;
    std::atomic<bool> fBroken{false};
};

} // namespace qcp::platform::x11
