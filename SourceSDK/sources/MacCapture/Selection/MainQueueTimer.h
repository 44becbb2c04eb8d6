#pragma once
#include <cstdint>
#include <functional>
#include <memory>

// A repeating timer on the main queue, on the zTime clock: `tick` runs every
// `intervalMicros`, the first time one interval after construction. Ticks
// keep to that cadence; when the queue falls behind, the missed ones are
// skipped rather than run in a burst. Destroying or invalidating the timer
// stops it for good, also from inside its own tick; the tick function is
// released once no tick runs, so it may hold its owner alive until then.
// Main queue only.
class MainQueueTimer {
public:
    // Intervals under a tenth of a millisecond are taken as one.
    MainQueueTimer(int64_t intervalMicros, std::function<void()> tick);
    ~MainQueueTimer();
    MainQueueTimer(const MainQueueTimer&) = delete;
    MainQueueTimer& operator=(const MainQueueTimer&) = delete;

    void Invalidate();
    bool IsValid() const;

private:
    struct State;
    static void Schedule(const std::shared_ptr<State>& state);
    static void Fire(const std::shared_ptr<State>& state);

    std::shared_ptr<State> fState;
};
