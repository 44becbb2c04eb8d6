#include "SimDisplayLink.h"

#include <gtest/gtest.h>

#include <pthread.h>

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

#include "SimPlatform.h"
#include "zTime.h"

using namespace qcp::platform;
using namespace qcp::platform::sim;

namespace {
std::atomic<int64_t> gNow{1'000'000};
int64_t ManualNow() { return gNow.load(); }

class SimDisplayLinkTest : public ::testing::Test {
protected:
    void SetUp() override {
        platform.world().AddScreen({5, {0, 0, 800, 600}, 1.0, "Only", 75});
        platform.world().Clock().SetStepped(true);
        gNow = 1'000'000;
        zTime::SetSource(&ManualNow);
    }
    void TearDown() override { zTime::SetSource(nullptr); }

    SimPlatform platform;
    std::mutex mutex;
    std::vector<int64_t> times;
    std::string threadName;

    std::unique_ptr<DisplayLink> MakeLink(uint32_t display) {
        return platform.createDisplayLink(display, [this](int64_t videoTime) {
            char name[16] = {};
            pthread_getname_np(pthread_self(), name, sizeof name);
            std::lock_guard lock(mutex);
            times.push_back(videoTime);
            threadName = name;
        });
    }
    size_t Calls() {
        std::lock_guard lock(mutex);
        return times.size();
    }
};
} // namespace

TEST_F(SimDisplayLinkTest, CallsBackOncePerRefreshOnItsOwnThreadWithTheVideoTime) {
    auto link = MakeLink(5);
    ASSERT_TRUE(link);
    EXPECT_FALSE(link->IsRunning());
    ASSERT_TRUE(link->Start());
    EXPECT_TRUE(link->IsRunning());
    platform.world().Clock().Step();
    gNow = 1'016'666;
    platform.world().Clock().Step();
    std::lock_guard lock(mutex);
    EXPECT_EQ(times, (std::vector<int64_t>{1'000'000, 1'016'666}));
    EXPECT_EQ(threadName, "sim link");
}

TEST_F(SimDisplayLinkTest, NoCallbackRunsAfterStopReturns) {
    auto link = MakeLink(5);
    link->Start();
    platform.world().Clock().Step(3);
    link->Stop();
    EXPECT_FALSE(link->IsRunning());
    platform.world().Clock().Step(3);
    EXPECT_EQ(Calls(), 3u);
    EXPECT_EQ(platform.world().Counters().runningLinks, 0);
    // And it can run again.
    link->Start();
    platform.world().Clock().Step();
    EXPECT_EQ(Calls(), 4u);
}

TEST_F(SimDisplayLinkTest, OnlyAttachedDisplaysHaveLinks) { EXPECT_FALSE(MakeLink(6)); }

TEST_F(SimDisplayLinkTest, StopInRealTimeWaitsForACallbackInProgress) {
    platform.world().Clock().SetStepped(false);
    std::atomic<bool> inside{false}, sawAfterStop{false}, stopped{false};
    auto link = platform.createDisplayLink(5, [&](int64_t) {
        inside = true;
        if (stopped) sawAfterStop = true;
        std::this_thread::yield();
        inside = false;
    });
    link->Start();
    while (!inside) std::this_thread::yield();
    link->Stop();
    stopped = true;
    EXPECT_FALSE(inside);
    EXPECT_FALSE(sawAfterStop);
}
