#pragma once
#include <atomic>
#include <cstdint>

#include "zTime.h"

// Replaces the zTime clock while it lives with one that moves only when the
// test moves it. Every timed wait of the plug-in (signals, queue deadlines,
// render pacing, monitor polls, simulated refreshes) follows it, so a test
// decides how much time passes instead of sleeping through it.
class ManualClock {
public:
    ManualClock() {
        sNow = zTime::MicroNow();
        zTime::SetSource(&Now);
    }
    ~ManualClock() { zTime::SetSource(nullptr); }
    ManualClock(const ManualClock&) = delete;
    ManualClock& operator=(const ManualClock&) = delete;

    void Advance(int64_t micros) { sNow += micros; }
    static int64_t Now() { return sNow.load(); }

private:
    static inline std::atomic<int64_t> sNow{0};
};
