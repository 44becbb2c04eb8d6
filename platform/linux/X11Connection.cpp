#include "X11Connection.h"

#include "X11ErrorTrap.h"

namespace qcp::platform::x11 {

std::unique_ptr<X11Connection> X11Connection::Open(const std::string& name, std::string& error) {
    // Each connection belongs to one thread at a time, but Xlib keeps some
    // state for all of them; libX11 1.8 makes itself thread-safe on its own,
    // older ones only when asked before their first connection.
    static const Status threads = XInitThreads();
    (void)threads;
    Display* display = XOpenDisplay(name.empty() ? nullptr : name.c_str());
    if (!display) {
        const char* shown = name.empty() ? XDisplayName(nullptr) : name.c_str();
        error = "cannot open X display \"" + std::string(shown ? shown : "") + "\"";
        return nullptr;
    }
    X11ErrorTrap::Adopt(display);
    return std::unique_ptr<X11Connection>(new X11Connection(display, DisplayString(display)));
}

X11Connection::~X11Connection() {
    // Disowned first: once closed, the address may come back for a new
    // connection. The trap still catches what the closing itself provokes.
    X11ErrorTrap::Disown(fDisplay);
    X11ErrorTrap trap(fDisplay);
    trap.Sync();
    XCloseDisplay(fDisplay);
    trap.Forget();
}

} // namespace qcp::platform::x11
