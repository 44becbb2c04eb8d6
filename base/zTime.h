#pragma once
#include <condition_variable>
#include <cstdint>
#include <mutex>

// The process's monotonic microsecond clock. Every timed behaviour of the
// plug-in reads it here and every timed wait waits on it (signals, queue
// deadlines, render pacing, polling threads), so that tests can substitute a
// manual clock and make hours pass in moments without sleeping.
namespace zTime {
using Source = int64_t (*)();

int64_t MicroNow();
// Replaces the clock; nullptr restores the steady clock. Any thread may
// switch it: waits in progress follow within a millisecond.
void SetSource(Source source);

// Waits on `condition`, whose mutex `lock` holds, until it is notified or
// the clock reaches `deadline` (a MicroNow() reading). Like any condition
// wait it may return early: callers re-check their state and the clock.
void WaitUntil(std::condition_variable& condition, std::unique_lock<std::mutex>& lock, int64_t deadline);

// Waits as above until `done()` holds (true) or the clock reaches `deadline`
// (false, with `done()` still false).
template <class Predicate>
bool WaitUntil(std::condition_variable& condition, std::unique_lock<std::mutex>& lock, int64_t deadline,
               Predicate done) {
    while (!done()) {
        if (MicroNow() >= deadline) return false;
        WaitUntil(condition, lock, deadline);
    }
    return true;
}
// Blocks the calling thread until the clock reaches `deadline`.
void SleepUntil(int64_t deadline);
} // namespace zTime
