#include "zQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "ManualClock.h"
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

TEST(zQueue, SyncWaitsForTheWorkAndRunsInlineFromItsOwnThread) {
    zSignal done; // outlives the queue, so no item can still be raising it
    zQueue queue("test.sync");
    std::vector<int> order;
    queue.Async([&] {
        order.push_back(1);
        queue.Sync([&] { order.push_back(2); });
        order.push_back(3);
        done.Raise();
    });
    ASSERT_EQ(done.Wait(kHang), zSignal::WaitResult::Signalled) << "Sync on its own queue deadlocked";
    bool onQueue = false;
    queue.Sync([&] {
        onQueue = queue.IsCurrent();
        order.push_back(4);
    });
    EXPECT_TRUE(onQueue);
    EXPECT_EQ(order, (std::vector<int>{1, 2, 3, 4})); // a race here if Sync returned early
}

TEST(zQueue, AfterRunsByDueTimeNotSubmission) {
    bool farRan = false;
    std::vector<int> order;
    {
        zSignal done, gate, lastRan;
        zQueue queue("test.after");
        queue.After(600'000'000, [&] { farRan = true; });
        queue.Sync([] {}); // not held up by the far item
        // Lets the queue settle into its wait for the far item; the outcome
        // does not depend on it. The items below grow the pending list under
        // that wait, which must not keep a reference into the list.
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
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

        // Items that fall due while the queue is busy leave the heap in one batch, still in due order.
        order.clear();
        queue.Async([&] { gate.Wait(kHang); });
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
    EXPECT_FALSE(farRan) << "the destructor must drop delayed work that is not due";
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

TEST(zQueue, CancelDropsADelayedItemUntilItComesDue) {
    ManualClock clock; // due times exactly as asked, however the test is scheduled
    zQueue queue("test.cancel");
    std::vector<int> order;
    zSignal done;
    std::vector<uint64_t> tickets;
    for (const int due : {2, 5, 1, 4, 3})
        tickets.push_back(queue.After(due * 1'000, [&, due] {
            order.push_back(due);
            if (due == 5) done.Raise();
        }));
    EXPECT_NE(tickets[0], 0u);
    EXPECT_TRUE(queue.Cancel(tickets[2])); // the earliest: the one the queue waits for
    EXPECT_FALSE(queue.Cancel(tickets[2])) << "a ticket cancels once";
    clock.Advance(10'000);
    ASSERT_EQ(done.Wait(kHang), zSignal::WaitResult::Signalled);
    EXPECT_EQ(order, (std::vector<int>{2, 3, 4, 5})) << "the rest lost their order";
    EXPECT_FALSE(queue.Cancel(tickets[0])) << "an item that ran cannot be cancelled";
    EXPECT_FALSE(queue.Cancel(0));
}
