#include "X11DisplayLink.h"

#include <cassert>

#include "zThread.h"
#include "zTime.h"

namespace qcp::platform::x11 {

X11DisplayLink::X11DisplayLink(double refreshRate, DisplayLinkCallback callback,
                               std::shared_ptr<const X11ServerState> server, uint64_t generation)
    : fPeriodMicros(int64_t(1e6 / (refreshRate > 0 ? refreshRate : 60))), fCallback(std::move(callback)),
      fServer(std::move(server)), fGeneration(generation) {}

bool X11DisplayLink::Start() {
    if (fThread.joinable()) return true;
    fStopping = false;
    fThread = std::thread([this] { Run(); });
    return true;
}

void X11DisplayLink::Stop() {
    if (!fThread.joinable()) return;
    assert(std::this_thread::get_id() != fThread.get_id() && "a display link cannot stop itself");
    {
        std::lock_guard lock(fMutex);
        fStopping = true;
    }
    fWake.notify_all();
    fThread.join(); // waits for a callback in progress
}

void X11DisplayLink::Run() {
    zThread::NameCurrent("display link");
    // Paced on the zTime clock like every wait, so a test's clock moves it.
    int64_t next = zTime::MicroNow() + fPeriodMicros;
    std::unique_lock lock(fMutex);
    for (;;) {
        if (zTime::WaitUntil(fWake, lock, next, [this] { return fStopping; })) return;
        if (!fServer->Current(fGeneration)) {
            fWake.wait(lock, [this] { return fStopping; });
            return;
        }
        lock.unlock();
        fCallback(zTime::MicroNow());
        lock.lock();
        next += fPeriodMicros;
        if (const int64_t now = zTime::MicroNow(); now > next) next = now + fPeriodMicros;
    }
}

} // namespace qcp::platform::x11
