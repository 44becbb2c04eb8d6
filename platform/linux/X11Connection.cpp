#include "X11Connection.h"

#include <atomic>

#include "X11ErrorTrap.h"
#include "X11OwnDisplays.h"

namespace qcp::platform::x11 {
namespace {

std::atomic<XIOErrorHandler> gPreviousIOHandler{nullptr};

// Process-wide in Xlib: the plug-in's connections return to Xlib (which then
// calls their exit handler, X11Connection::Broke); the host's go to the
// handler that was there before. Lock-free: it runs inside Xlib.
int HandleIOError(Display* display) {
    if (X11OwnDisplays::Contains(display)) return 0;
    const XIOErrorHandler previous = gPreviousIOHandler.load();
    return previous ? previous(display) : 0;
}

void InstallIOErrorHandler() {
    // Each connection belongs to one thread at a time, but Xlib keeps some
    // state for all of them; libX11 1.8 makes itself thread-safe on its own,
    // older ones only when asked before their first connection.
    XInitThreads();
    gPreviousIOHandler.store(XSetIOErrorHandler(&HandleIOError));
}

} // namespace

std::unique_ptr<X11Connection> X11Connection::Open(const std::string& name, std::shared_ptr<X11ServerState> state,
                                                   uint64_t generation, std::string& error) {
    static const bool installed = (InstallIOErrorHandler(), true);
    (void)installed;
    Display* display = XOpenDisplay(name.c_str());
    if (!display) {
        error = "cannot open X display " + name;
        return nullptr;
    }
    if (!X11OwnDisplays::Add(display)) {
        XCloseDisplay(display);
        error = "too many X connections open";
        return nullptr;
    }
    std::unique_ptr<X11Connection> connection(
        new X11Connection(display, DisplayString(display), std::move(state), generation));
#if QCP_X11_HAVE_IO_ERROR_EXIT_HANDLER
    XSetIOErrorExitHandler(display, &X11Connection::Broke, connection.get());
#endif
    return connection;
}

X11Connection::X11Connection(Display* display, std::string name, std::shared_ptr<X11ServerState> state,
                             uint64_t generation)
    : fDisplay(display), fName(std::move(name)), fState(std::move(state)), fGeneration(generation) {}

X11Connection::~X11Connection() {
    // Xlib sends nothing on a broken connection; on one that is only stale,
    // a failure to send breaks it here, on this thread, harmlessly.
    X11ErrorTrap trap(fDisplay);
    trap.Sync();
    XCloseDisplay(fDisplay);
    trap.Forget();
    // Only now: an I/O error while closing is still the plug-in's. Should the
    // address already be back for a new connection, that one has an entry
    // of its own.
    X11OwnDisplays::Remove(fDisplay);
}

void X11Connection::Broke(Display* display, void* connection) {
    auto* self = static_cast<X11Connection*>(connection);
    self->fBroken.store(true, std::memory_order_release);
    self->fState->MarkLost(self->fGeneration);
    // Xlib took the display's lock for the exit it expected, and would keep
    // every other thread (the one that closes the connection) out for good.
    XUnlockDisplay(display);
}

} // namespace qcp::platform::x11
