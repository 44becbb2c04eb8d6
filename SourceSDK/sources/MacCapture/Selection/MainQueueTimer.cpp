#include "MainQueueTimer.h"

#include <algorithm>

#include "zQueue.h"
#include "zTime.h"

namespace {
constexpr int64_t kShortestIntervalMicros = 100;
}

// Shared with the queued tick, which outlives an invalidated timer until its
// due time comes.
struct MainQueueTimer::State {
    int64_t interval = 0;
    int64_t due = 0; // the next tick's time on the zTime clock
    std::function<void()> tick;
    bool valid = true;
    bool ticking = false;

    // Out of the state before it dies: the tick may hold the timer's owner,
    // whose destruction invalidates this state again.
    void Release() {
        std::function<void()> released;
        released.swap(tick);
    }
};

MainQueueTimer::MainQueueTimer(int64_t intervalMicros, std::function<void()> tick) : fState(std::make_shared<State>()) {
    fState->interval = std::max(intervalMicros, kShortestIntervalMicros);
    fState->due = zTime::MicroNow() + fState->interval;
    fState->tick = std::move(tick);
    Schedule(fState);
}

MainQueueTimer::~MainQueueTimer() { Invalidate(); }

void MainQueueTimer::Invalidate() {
    fState->valid = false;
    // A running tick is released by Fire once it returns.
    if (!fState->ticking) fState->Release();
}

bool MainQueueTimer::IsValid() const { return fState->valid; }

void MainQueueTimer::Schedule(const std::shared_ptr<State>& state) {
    zQueue::Main().After(state->due - zTime::MicroNow(), [state] { Fire(state); });
}

void MainQueueTimer::Fire(const std::shared_ptr<State>& state) {
    if (!state->valid) return;
    state->ticking = true;
    state->tick();
    state->ticking = false;
    if (!state->valid) {
        state->Release();
        return;
    }
    const int64_t now = zTime::MicroNow();
    state->due += state->interval;
    if (state->due <= now) state->due += ((now - state->due) / state->interval + 1) * state->interval;
    Schedule(state);
}
