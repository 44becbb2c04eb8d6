#include "SimClock.h"

#include <algorithm>
#include <cassert>

#include "SimTicker.h"

namespace qcp::platform::sim {

thread_local bool SimClock::tOnTicker = false;

void SimClock::SetStepped(bool stepped) {
    {
        std::lock_guard lock(fMutex);
        fStepped = stepped;
        // Steps missed while running in real time are not owed afterwards.
        for (SimTicker* ticker : fTickers) ticker->fDone = fStep;
    }
    fChanged.notify_all();
}

bool SimClock::Stepped() const {
    std::lock_guard lock(fMutex);
    return fStepped;
}

uint64_t SimClock::Steps() const {
    std::lock_guard lock(fMutex);
    return fStep;
}

bool SimClock::AllDone() const {
    return std::all_of(fTickers.begin(), fTickers.end(),
                       [this](const SimTicker* t) { return t->fStopping || t->fDone >= fStep; });
}

void SimClock::Step(int count) {
    assert(!tOnTicker && "Step() from a tick would wait for itself");
    std::unique_lock lock(fMutex);
    for (int i = 0; i < count && fStepped; ++i) {
        ++fStep;
        fChanged.notify_all();
        fChanged.wait(lock, [this] { return !fStepped || AllDone(); });
    }
}

} // namespace qcp::platform::sim
