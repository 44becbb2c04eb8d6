#pragma once
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <vector>

namespace qcp::platform::sim {

class SimTicker;

// Paces the simulated displays: every display stream, display link and
// animation ticks on its own thread (SimTicker), and the clock decides when.
//
// Real time (the default): each ticker fires at its own period on the zTime
// clock, like real displays.
//
// Stepped: tickers fire only when a test calls Step(), once per step each,
// so that timing behaviour is tested without sleeping. Step() returns when
// every ticker that was running has finished its tick for that step. For a
// display stream that means the frame (or status) has been posted to the
// stream's queue, not that the handler has run; for a display link the
// callback has returned.
//
// The clock says nothing about time stamps: those come from zTime, which a
// test may replace with a manual source as well.
class SimClock {
public:
    SimClock() = default;
    SimClock(const SimClock&) = delete;
    SimClock& operator=(const SimClock&) = delete;

    // Switches the mode; running tickers follow at their next wait. Any
    // thread.
    void SetStepped(bool stepped);
    bool Stepped() const;
    // Fires every running ticker `count` times, one step after another, and
    // waits for them. Does nothing in real time. Never call it from a tick
    // (a display-link callback): that tick would wait for itself.
    void Step(int count = 1);
    // How many Step()s have completed.
    uint64_t Steps() const;

private:
    friend class SimTicker;
    bool AllDone() const;

    // Set on ticker threads, so that a Step() from a tick is caught at once
    // instead of waiting for itself.
    static thread_local bool tOnTicker;

    mutable std::mutex fMutex;
    std::condition_variable fChanged;
    bool fStepped = false;
    uint64_t fStep = 0;
    std::vector<SimTicker*> fTickers;
};

} // namespace qcp::platform::sim
