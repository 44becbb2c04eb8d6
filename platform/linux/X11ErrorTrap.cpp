#include "X11ErrorTrap.h"

#include <mutex>
#include <vector>

#include "X11OwnDisplays.h"

namespace qcp::platform::x11 {

// The process-wide side of the traps: the handler is global in Xlib.
struct TrapRegistry {
    std::mutex mutex;
    std::vector<X11ErrorTrap*> traps; // innermost last
    XErrorHandler previous = nullptr;

    static TrapRegistry& Get() {
        static TrapRegistry* registry = new TrapRegistry(); // outlives every connection, even at exit
        return *registry;
    }

    static int Handle(Display* display, XErrorEvent* event) {
        TrapRegistry& registry = Get();
        XErrorHandler forward = nullptr;
        {
            std::lock_guard lock(registry.mutex);
            // The innermost trap on that display set before the failed request.
            bool trapped = false;
            for (auto it = registry.traps.rbegin(); it != registry.traps.rend(); ++it) {
                X11ErrorTrap& trap = **it;
                if (trap.fDisplay != display) continue;
                trapped = true;
                if (event->serial < trap.fFirstSerial) continue;
                if (trap.fError == Success) trap.fError = event->error_code;
                return 0;
            }
            // An error of ours that nobody waits for is never the host's business.
            if (trapped || X11OwnDisplays::Contains(display)) return 0;
            forward = registry.previous;
        }
        return forward ? forward(display, event) : 0;
    }
};

// XNextRequest, unlike NextRequest, also counts what went out over the
// connection's XCB side since Xlib last wrote.
X11ErrorTrap::X11ErrorTrap(Display* display) : fDisplay(display), fFirstSerial(XNextRequest(display)) {
    TrapRegistry& registry = TrapRegistry::Get();
    std::lock_guard lock(registry.mutex);
    if (registry.traps.empty()) {
        registry.traps.reserve(16);
        registry.previous = XSetErrorHandler(&TrapRegistry::Handle);
    }
    registry.traps.push_back(this);
}

X11ErrorTrap::~X11ErrorTrap() {
    Sync();
    TrapRegistry& registry = TrapRegistry::Get();
    std::lock_guard lock(registry.mutex);
    std::erase(registry.traps, this);
    if (!registry.traps.empty()) return;
    // Put the earlier handler back, unless someone replaced ours meanwhile:
    // then theirs stays.
    XErrorHandler current = XSetErrorHandler(registry.previous);
    if (current != &TrapRegistry::Handle) XSetErrorHandler(current);
    registry.previous = nullptr;
}

void X11ErrorTrap::Forget() {
    std::lock_guard lock(TrapRegistry::Get().mutex);
    fDisplay = nullptr;
}

int X11ErrorTrap::Sync() {
    if (!fDisplay) return fError;
    // Nothing to wait for when nothing went out under the trap, or when the
    // last request processed is the last one sent.
    const unsigned long next = XNextRequest(fDisplay);
    if (next != fFirstSerial && LastKnownRequestProcessed(fDisplay) + 1 < next) XSync(fDisplay, False);
    TrapRegistry& registry = TrapRegistry::Get();
    std::lock_guard lock(registry.mutex);
    const int error = fError;
    fError = Success;
    fFirstSerial = XNextRequest(fDisplay);
    return error;
}

} // namespace qcp::platform::x11
