#include "zTime.h"

#include <algorithm>
#include <atomic>
#include <chrono>

namespace {
int64_t SteadyMicros() {
    using namespace std::chrono;
    return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}
std::atomic<zTime::Source> gSource{&SteadyMicros};

// How often a wait on a substituted clock looks at it again: such a clock
// jumps when its owner says so, with no notification.
constexpr std::chrono::milliseconds kManualClockPoll{1};
} // namespace

int64_t zTime::MicroNow() { return gSource.load(std::memory_order_relaxed)(); }

void zTime::SetSource(Source source) { gSource.store(source ? source : &SteadyMicros); }

void zTime::SleepUntil(int64_t deadline) {
    std::mutex mutex;
    std::condition_variable never;
    std::unique_lock lock(mutex);
    while (MicroNow() < deadline) WaitUntil(never, lock, deadline);
}

void zTime::WaitUntil(std::condition_variable& condition, std::unique_lock<std::mutex>& lock, int64_t deadline) {
    if (gSource.load(std::memory_order_relaxed) != &SteadyMicros) {
        condition.wait_for(lock, kManualClockPoll);
        return;
    }
    // At most a second at a time, so that a switch to a manual clock is seen.
    const int64_t wait = std::clamp<int64_t>(deadline - SteadyMicros(), 0, 1'000'000);
    condition.wait_for(lock, std::chrono::microseconds(wait));
}
