#include "SimTicker.h"

#include <cassert>

#include "SimClock.h"
#include "zThread.h"
#include "zTime.h"

namespace qcp::platform::sim {

int64_t SimTicker::PeriodFor(double refreshRate) { return int64_t(1e6 / (refreshRate > 0 ? refreshRate : 60)); }

SimTicker::SimTicker(SimClock& clock, std::string name, int64_t periodMicros, std::function<void()> tick)
    : fClock(clock), fName(std::move(name)), fPeriodMicros(periodMicros), fTick(std::move(tick)) {
    {
        std::lock_guard lock(fClock.fMutex);
        fDone = fClock.fStep; // a new ticker owes nothing for earlier steps
        fClock.fTickers.push_back(this);
    }
    fThread = std::thread([this] { Run(); });
}

SimTicker::~SimTicker() {
    assert(std::this_thread::get_id() != fThread.get_id() && "a ticker cannot stop itself");
    {
        std::lock_guard lock(fClock.fMutex);
        fStopping = true;
    }
    fClock.fChanged.notify_all();
    fThread.join();
    {
        std::lock_guard lock(fClock.fMutex);
        std::erase(fClock.fTickers, this);
    }
    fClock.fChanged.notify_all();
}

void SimTicker::Run() {
    zThread::NameCurrent(fName);
    SimClock::tOnTicker = true;
    int64_t next = zTime::MicroNow() + fPeriodMicros;
    std::unique_lock lock(fClock.fMutex);
    while (!fStopping) {
        if (fClock.fStepped) {
            fClock.fChanged.wait(lock, [this] { return fStopping || !fClock.fStepped || fClock.fStep > fDone; });
            if (fStopping || !fClock.fStepped) {
                next = zTime::MicroNow() + fPeriodMicros;
                continue;
            }
            const uint64_t step = fDone + 1;
            lock.unlock();
            fTick();
            lock.lock();
            fDone = step;
            fClock.fChanged.notify_all();
        } else {
            // Real time is the zTime clock: a test that substitutes it moves
            // every ticker with it.
            if (zTime::WaitUntil(fClock.fChanged, lock, next, [this] { return fStopping || fClock.fStepped; }))
                continue;
            lock.unlock();
            fTick();
            lock.lock();
            fDone = fClock.fStep;
            next += fPeriodMicros;
            // After a long stall, tick from now on rather than catching up.
            if (const int64_t now = zTime::MicroNow(); now > next) next = now + fPeriodMicros;
        }
    }
}

} // namespace qcp::platform::sim
