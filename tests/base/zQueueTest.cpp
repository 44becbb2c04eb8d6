#include "zQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "zSignal.h"

namespace {
// Long enough that only a broken queue ever waits this out; never a timing check.
constexpr int64_t kHang = 30'000'000;
} // namespace

TEST(zQueue, RunsItemsOneAtATimeInSubmissionOrder) {
    std::vector<int> order;
    std::atomic<int> running{0};
    bool overlapped = false;
    {
        zQueue queue("test.serial");
        for (int i = 0; i < 1000; ++i) {
            queue.Async([&, i] {
                if (running.fetch_add(1) != 0) overlapped = true;
                order.push_back(i);
                running.fetch_sub(1);
            });
        }
        queue.Sync([] {});
        ASSERT_EQ(order.size(), 1000u);
    }
    EXPECT_FALSE(overlapped);
    for (int i = 0; i < 1000; ++i) ASSERT_EQ(order[i], i);
}

TEST(zQueue, KeepsEachProducersOrderAcrossThreads) {
    constexpr int kProducers = 4, kItems = 500;
    std::vector<std::pair<int, int>> seen;
    zQueue queue("test.producers");
    std::vector<std::thread> producers;
    for (int p = 0; p < kProducers; ++p) {
        producers.emplace_back([&, p] {
            for (int i = 0; i < kItems; ++i) queue.Async([&, p, i] { seen.emplace_back(p, i); });
        });
    }
    for (auto& producer : producers) producer.join();
    queue.Sync([] {});
    ASSERT_EQ(seen.size(), size_t(kProducers * kItems));
    std::vector<int> next(kProducers, 0);
    for (auto [p, i] : seen) ASSERT_EQ(i, next[p]++);
}

TEST(zQueue, SyncRunsOnTheQueueAndReturnsAfterTheWork) {
    zQueue queue("test.sync");
    bool onQueue = false;
    int value = 0;
    queue.Sync([&] {
        onQueue = queue.IsCurrent();
        value = 42;
    });
    EXPECT_TRUE(onQueue);
    EXPECT_EQ(value, 42); // a race here if Sync returned early
    EXPECT_FALSE(queue.IsCurrent());
}

TEST(zQueue, SyncFromInsideTheQueueRunsInline) {
    zSignal done; // outlives the queue, so no item can still be raising it
    zQueue queue("test.reentrant");
    std::vector<int> order;
    queue.Async([&] {
        order.push_back(1);
        queue.Sync([&] { order.push_back(2); });
        order.push_back(3);
        done.Raise();
    });
    ASSERT_EQ(done.Wait(kHang), zSignal::WaitResult::Signalled) << "Sync on its own queue deadlocked";
    EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));

    bool nested = false;
    queue.Sync([&] { queue.Sync([&] { nested = true; }); });
    EXPECT_TRUE(nested);
}

TEST(zQueue, SyncIsSafeFromManyThreadsAtOnce) {
    zQueue queue("test.syncs");
    int counter = 0;
    std::vector<std::thread> callers;
    for (int t = 0; t < 4; ++t) {
        callers.emplace_back([&] {
            for (int i = 0; i < 200; ++i) queue.Sync([&] { ++counter; });
        });
    }
    for (auto& caller : callers) caller.join();
    queue.Sync([] {});
    EXPECT_EQ(counter, 800);
}

TEST(zQueue, AfterRunsByDueTimeNotSubmission) {
    std::vector<int> order;
    zSignal done;
    zQueue queue("test.after");
    // Submitted latest-first, 50 ms apart so that scheduling noise cannot reorder them.
    queue.After(150'000, [&] {
        order.push_back(3);
        done.Raise();
    });
    queue.After(100'000, [&] { order.push_back(2); });
    queue.After(50'000, [&] { order.push_back(1); });
    queue.After(-5, [&] { order.push_back(0); }); // a negative delay is due at once
    ASSERT_EQ(done.Wait(kHang), zSignal::WaitResult::Signalled);
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3}));
}

TEST(zQueue, ItemsThatFallDueTogetherRunInDueOrder) {
    zSignal gate, lastRan;
    std::vector<int> order;
    zQueue queue("test.after.batch");
    queue.Async([&] { gate.Wait(kHang); });
    // While the queue is busy these all fall due; they then leave the heap in one batch.
    for (int i = 0; i < 50; ++i) {
        queue.After(i, [&, i] {
            order.push_back(i);
            if (i == 49) lastRan.Raise();
        });
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5)); // lets the last one fall due
    gate.Raise();
    ASSERT_EQ(lastRan.Wait(kHang), zSignal::WaitResult::Signalled);
    queue.Sync([] {}); // the batch is queued ahead of this, whatever its order
    ASSERT_EQ(order.size(), 50u);
    for (int i = 0; i < 50; ++i) ASSERT_EQ(order[i], i);
}

TEST(zQueue, ALaterShortDelayIsNotHeldUpByAnEarlierLongOne) {
    bool farRan = false;
    {
        zSignal near;
        zQueue queue("test.after.wake");
        queue.After(600'000'000, [&] { farRan = true; });
        queue.Sync([] {});
        // Lets the queue settle into its wait for the far item; the outcome
        // does not depend on it. The next item grows the pending list under
        // that wait, which must not keep a reference into the list.
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        queue.After(0, [&] { near.Raise(); });
        EXPECT_EQ(near.Wait(kHang), zSignal::WaitResult::Signalled);
    }
    EXPECT_FALSE(farRan) << "the destructor must drop delayed work that is not due";
}

TEST(zQueue, AsyncWorkIsNotHeldUpByDelayedWork) {
    zSignal ran;
    zQueue queue("test.after.async");
    queue.After(600'000'000, [] {});
    queue.Async([&] { ran.Raise(); });
    EXPECT_EQ(ran.Wait(kHang), zSignal::WaitResult::Signalled);
}

TEST(zQueue, DestructorRunsWorkAlreadySubmitted) {
    int ran = 0;
    zSignal gate;
    std::thread opener;
    {
        zQueue queue("test.drain");
        queue.Async([&] { gate.Wait(kHang); });
        for (int i = 0; i < 100; ++i) queue.Async([&] { ++ran; });
        queue.Async([&] { queue.Async([&] { ++ran; }); }); // submitted while draining
        // The gate opens only after the destructor has begun, while the items wait.
        opener = std::thread([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            gate.Raise();
        });
    }
    opener.join();
    EXPECT_EQ(ran, 101);
}

TEST(zQueue, MainQueueIsOneQueueOnItsOwnThread) {
    EXPECT_EQ(&zQueue::Main(), &zQueue::Main());
    EXPECT_EQ(zQueue::Main().Label(), "main");
    EXPECT_FALSE(zQueue::Main().IsCurrent());
    std::thread::id ranOn;
    zQueue::Main().Sync([&] { ranOn = std::this_thread::get_id(); });
    EXPECT_NE(ranOn, std::this_thread::get_id());
}
