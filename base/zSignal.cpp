#include "zSignal.h"

#include <chrono>

void zSignal::Raise() {
    {
        std::lock_guard lock(fMutex);
        fRaised = true;
    }
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
    if (micros < 0) {
        fCondition.wait(lock, [this] { return fRaised; });
        return WaitResult::Signalled;
    }
    bool raised = fCondition.wait_for(lock, std::chrono::microseconds(micros), [this] { return fRaised; });
    return raised ? WaitResult::Signalled : WaitResult::TimedOut;
}
