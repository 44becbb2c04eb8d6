#include "zSignal.h"

#include <gtest/gtest.h>

#include <climits>
#include <future>
#include <optional>
#include <thread>

using Result = zSignal::WaitResult;

namespace {
constexpr auto kHang = std::chrono::seconds(30); // only a broken signal waits this out

// Waits on `signal` on another thread, raises it from this one, and reports
// what the waiter saw, or nothing when it was not released.
std::optional<Result> RaiseWhileWaiting(int64_t micros) {
    auto signal = std::make_shared<zSignal>();
    std::promise<void> waiting;
    auto waiter = std::async(std::launch::async, [signal, micros, &waiting] {
        waiting.set_value();
        return signal->Wait(micros);
    });
    waiting.get_future().wait();
    // Lets the waiter block first; the outcome does not depend on it.
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    signal->Raise();
    if (waiter.wait_for(kHang) != std::future_status::ready) return std::nullopt;
    return waiter.get();
}
} // namespace

TEST(zSignal, TimedWaitTellsTimeOutFromSignalUntilReset) {
    zSignal signal;
    EXPECT_EQ(signal.Wait(0), Result::TimedOut);
    EXPECT_EQ(signal.Wait(1000), Result::TimedOut);
    signal.Raise();
    EXPECT_EQ(signal.Wait(0), Result::Signalled);
    EXPECT_EQ(signal.Wait(1000), Result::Signalled); // a wait does not consume it
    signal.Reset();
    EXPECT_EQ(signal.Wait(0), Result::TimedOut);
}

TEST(zSignal, RaiseFromAnotherThreadReleasesAWaiterWhateverItsTimeout) {
    EXPECT_EQ(RaiseWhileWaiting(-1), Result::Signalled);
    EXPECT_EQ(RaiseWhileWaiting(600'000'000), Result::Signalled);
    // INT64_MAX microseconds overflows a nanosecond deadline; the wait must
    // still last until the signal comes.
    EXPECT_EQ(RaiseWhileWaiting(INT64_MAX), Result::Signalled);
}

TEST(zSignal, MayBeDestroyedAsSoonAsItsWaitReturns) {
    // The usual completion event: the waiter owns the signal and drops it once
    // released, so Raise() must be done with it by then. Sanitizer builds
    // report a Raise() that still touches it afterwards.
    for (int i = 0; i < 200; ++i) {
        auto signal = std::make_unique<zSignal>();
        std::thread raiser([raw = signal.get()] { raw->Raise(); });
        ASSERT_EQ(signal->Wait(-1), Result::Signalled);
        signal.reset();
        raiser.join();
    }
}
