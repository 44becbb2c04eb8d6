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
    const auto period = std::chrono::microseconds(fPeriodMicros);
    auto next = std::chrono::steady_clock::now() + period;
    std::unique_lock lock(fMutex);
    while (!fWake.wait_until(lock, next, [this] { return fStopping; })) {
        if (!fServer->Current(fGeneration)) {
            fWake.wait(lock, [this] { return fStopping; });
            return;
        }
        lock.unlock();
        fCallback(zTime::MicroNow());
        lock.lock();
        next += period;
        if (const auto now = std::chrono::steady_clock::now(); now > next) next = now + period;
    }
}

} // namespace qcp::platform::x11
