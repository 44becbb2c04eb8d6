#include "SimClock.h"

#include <gtest/gtest.h>

#include <atomic>

#include "SimTicker.h"

using namespace qcp::platform::sim;

TEST(SimClock, StepRunsEveryTickerOnceAndWaitsForThem) {
    SimClock clock;
    clock.SetStepped(true);
    std::atomic<int> a{0}, b{0};
    SimTicker first(clock, "t1", 1'000'000'000, [&] { ++a; });
    SimTicker second(clock, "t2", 1, [&] { ++b; });
    clock.Step(5);
    EXPECT_EQ(a, 5);
    EXPECT_EQ(b, 5);
    EXPECT_EQ(clock.Steps(), 5u);
}

TEST(SimClock, ATickerStartedLateOwesNothingForEarlierSteps) {
    SimClock clock;
    clock.SetStepped(true);
    clock.Step(3);
    std::atomic<int> ticks{0};
    SimTicker ticker(clock, "late", 1000, [&] { ++ticks; });
    clock.Step();
    EXPECT_EQ(ticks, 1);
}

TEST(SimClock, StepDoesNotWaitForATickerBeingDestroyed) {
    SimClock clock;
    clock.SetStepped(true);
    std::atomic<int> ticks{0};
    {
        SimTicker ticker(clock, "brief", 1000, [&] { ++ticks; });
        clock.Step();
    }
    clock.Step(2); // nobody left to wait for
    EXPECT_EQ(ticks, 1);
}

TEST(SimClock, SwitchingToRealTimeReleasesTheTickers) {
    SimClock clock;
    clock.SetStepped(true);
    std::atomic<int> ticks{0};
    SimTicker ticker(clock, "free", 100, [&] { ++ticks; });
    clock.SetStepped(false);
    while (ticks < 3) std::this_thread::yield(); // liveness only
    clock.Step(); // real time: returns at once instead of hanging
}
