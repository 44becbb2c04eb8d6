// The main queue's repeating timer, on the manual clock.
#include "Selection/MainQueueTimer.h"
#include "OverlayFixture.h"

using MainQueueTimerTest = OverlayTest;

TEST_F(MainQueueTimerTest, KeepsItsCadenceSkipsMissedTicksAndStopsForGoodFromItsOwnTick) {
    int ticks = 0;
    auto held = std::make_shared<int>(0);
    const std::weak_ptr<int> watch = held;
    std::unique_ptr<MainQueueTimer> timer;
    zQueue::Main().Sync([&, held] {
        timer = std::make_unique<MainQueueTimer>(1'000, [&, held] {
            if (++ticks == 4) timer->Invalidate();
        });
    });
    held.reset();
    const std::pair<int64_t, int> steps[] = {{999, 0}, {1, 1}, {1'000, 2}, {5'000, 3}, {999, 3}, {1, 4}, {5'000, 4}};
    for (const auto& [micros, expected] : steps) {
        Pass(micros);
        EXPECT_EQ(ticks, expected);
        EXPECT_EQ(watch.expired(), ticks == 4) << "what the tick holds is let go once it stops";
    }
    EXPECT_FALSE(timer->IsValid());

    // Destroyed by its own tick.
    zQueue::Main().Sync([&] {
        timer = std::make_unique<MainQueueTimer>(1'000, [&] {
            ++ticks;
            timer.reset();
        });
    });
    Pass(1'000);
    Pass(5'000);
    EXPECT_EQ(ticks, 5);
    EXPECT_EQ(timer, nullptr);
}
