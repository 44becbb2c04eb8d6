#pragma once
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>

// A manual-reset event. Wait() tells a raised signal from a time-out, so a
// polling thread can sleep between polls and still stop at once.
class zSignal {
public:
    enum class WaitResult { Signalled, TimedOut };

    static std::unique_ptr<zSignal> Factory() { return std::make_unique<zSignal>(); }

    void Raise();
    void Reset();
    bool IsRaised() const;
    // Waits up to `micros` microseconds of the zTime clock (negative or
    // immense: forever).
    WaitResult Wait(int64_t micros);
    // Waits until `deadline` on the zTime clock. A loop paced to deadlines
    // waits this way: a relative wait measured from a moment after its own
    // reading of the clock would miss a deadline the clock passed meanwhile.
    WaitResult WaitUntil(int64_t deadline);

private:
    mutable std::mutex fMutex;
    std::condition_variable fCondition;
    bool fRaised = false;
};
