#include "zSignal.h"

#include "zTime.h"

void zSignal::Raise() {
    // Notify under the lock: a waiter may destroy the signal as soon as its
    // wait returns.
    std::lock_guard lock(fMutex);
    fRaised = true;
    fCondition.notify_all();
}

void zSignal::Reset() {
    std::lock_guard lock(fMutex);
    fRaised = false;
}

bool zSignal::IsRaised() const {
    std::lock_guard lock(fMutex);
    return fRaised;
}

zSignal::WaitResult zSignal::Wait(int64_t micros) {
    std::unique_lock lock(fMutex);
    // Waits beyond any real need (here about 31 years) are waits forever,
    // which also keeps the deadline arithmetic from overflowing.
    constexpr int64_t kForever = 1'000'000'000'000'000;
    if (micros < 0 || micros > kForever) {
        fCondition.wait(lock, [this] { return fRaised; });
        return WaitResult::Signalled;
    }
    lock.unlock();
    return WaitUntil(zTime::MicroNow() + micros);
}

zSignal::WaitResult zSignal::WaitUntil(int64_t deadline) {
    std::unique_lock lock(fMutex);
    const bool raised = zTime::WaitUntil(fCondition, lock, deadline, [this] { return fRaised; });
    return raised ? WaitResult::Signalled : WaitResult::TimedOut;
}
