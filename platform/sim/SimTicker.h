#pragma once
#include <cstdint>
#include <functional>
#include <string>
#include <thread>

namespace qcp::platform::sim {

class SimClock;

// A named thread that calls `tick` as its clock paces it: every
// `periodMicros` in real time, once per step when stepped. The destructor
// stops it and waits for a tick in progress; it must not run on the ticker's
// own thread (from inside `tick`).
class SimTicker {
public:
    SimTicker(SimClock& clock, std::string name, int64_t periodMicros, std::function<void()> tick);
    ~SimTicker();
    SimTicker(const SimTicker&) = delete;
    SimTicker& operator=(const SimTicker&) = delete;

    // A period in microseconds for a refresh rate; 60 per second when the
    // rate is unknown (0).
    static int64_t PeriodFor(double refreshRate);

private:
    friend class SimClock;
    void Run();

    SimClock& fClock;
    const std::string fName;
    const int64_t fPeriodMicros;
    const std::function<void()> fTick;
    // Guarded by the clock's mutex.
    bool fStopping = false;
    uint64_t fDone = 0; // the last step this ticker has answered
    std::thread fThread;
};

} // namespace qcp::platform::sim
