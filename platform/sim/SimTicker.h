#pragma once
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace qcp::platform::sim {

// A named thread that calls `tick` at a fixed period until stopped. Stop()
// waits for a tick in progress, unless called from inside a tick.
class SimTicker {
public:
    SimTicker(std::string name, int64_t periodMicros, std::function<void()> tick);
    ~SimTicker();
    SimTicker(const SimTicker&) = delete;
    SimTicker& operator=(const SimTicker&) = delete;

    void Stop();

private:
    void Run();

    const std::string fName;
    const int64_t fPeriodMicros;
    const std::function<void()> fTick;
    std::mutex fMutex;
    std::condition_variable fWake;
    bool fStopping = false;
    std::thread fThread;
};

} // namespace qcp::platform::sim
