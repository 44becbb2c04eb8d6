#pragma once
#include <X11/Xlib.h>

namespace qcp::platform::x11 {

// Catches the X errors of the plug-in's own requests, which Xlib would
// otherwise hand to the process's error handler (by default one that exits,
// taking the host with it).
//
// While any trap is alive, the plug-in's handler is installed; it records
// errors on the trapped display and passes errors on every other display to
// the handler that was installed before, so the host's own connections keep
// their handler. The last trap to go puts that handler back. A trap belongs
// to the thread that made it, and so does its display while it lives.
//
// Every plug-in request that can fail runs under a trap; the handler drops
// errors on the plug-in's own connections (X11OwnDisplays) that no trap is
// waiting for instead of passing them on.
class X11ErrorTrap {
public:
    explicit X11ErrorTrap(Display* display);
    // Waits for the requests made under the trap (see Sync), then removes it.
    ~X11ErrorTrap();
    X11ErrorTrap(const X11ErrorTrap&) = delete;
    X11ErrorTrap& operator=(const X11ErrorTrap&) = delete;

    // Waits until the server has answered every request made since the trap
    // was set or since the last Sync, and returns the code of the first error
    // among them (Success, 0, when none) and starts recording afresh. Costs a
    // round trip only when some request has not been answered yet.
    int Sync();
    // The display was closed under the trap: nothing is left to wait for.
    // Under the registry's lock: another thread's error may be looking at
    // this trap's display.
    void Forget();

private:
    friend struct TrapRegistry;
    Display* fDisplay;
    unsigned long fFirstSerial;
    int fError = 0;
};

} // namespace qcp::platform::x11
