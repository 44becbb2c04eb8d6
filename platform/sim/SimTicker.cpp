#include "SimTicker.h"

#include "zThread.h"

namespace qcp::platform::sim {

SimTicker::SimTicker(std::string name, int64_t periodMicros, std::function<void()> tick)
    : fName(std::move(name)), fPeriodMicros(periodMicros), fTick(std::move(tick)), fThread([this] { Run(); }) {}

SimTicker::~SimTicker() { Stop(); }

void SimTicker::Stop() {
    {
        std::lock_guard lock(fMutex);
        fStopping = true;
    }
    fWake.notify_all();
    if (fThread.joinable() && fThread.get_id() != std::this_thread::get_id()) fThread.join();
}

void SimTicker::Run() {
    zThread::NameCurrent(fName);
    auto next = std::chrono::steady_clock::now();
    std::unique_lock lock(fMutex);
    while (!fStopping) {
        next += std::chrono::microseconds(fPeriodMicros);
        if (fWake.wait_until(lock, next, [this] { return fStopping; })) break;
        lock.unlock();
        fTick();
        lock.lock();
        // After a long stall, tick from now on rather than catching up.
        if (auto now = std::chrono::steady_clock::now(); now > next + std::chrono::microseconds(fPeriodMicros))
            next = now;
    }
}

} // namespace qcp::platform::sim
