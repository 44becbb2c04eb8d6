#include <gtest/gtest.h>

#include <pthread.h>

#include <atomic>
#include <mutex>

#include "TestDesktop.h"
#include "zTime.h"

using namespace qcp::platform;

namespace {

std::atomic<int64_t> gNow{5'000'000};
int64_t ManualNow() { return gNow.load(); }

class DisplayLinkTest : public LinuxDesktopTest {
protected:
    void TearDown() override { zTime::SetSource(nullptr); }

    std::unique_ptr<DisplayLink> Make(uint32_t display) {
        return platform->createDisplayLink(display, [this](int64_t videoTime) {
            char name[16] = {};
            pthread_getname_np(pthread_self(), name, sizeof name);
            std::lock_guard lock(mutex);
            ++ticks;
            lastTime = videoTime;
            threadName = name;
        });
    }
    int Ticks() {
        std::lock_guard lock(mutex);
        return ticks;
    }

    std::mutex mutex;
    int ticks = 0;
    int64_t lastTime = 0;
    std::string threadName;
};

} // namespace

TEST_F(DisplayLinkTest, TicksOnItsOwnThreadWithTheVideoTimeUntilStopped) {
    zTime::SetSource(&ManualNow);
    auto link = Make(platform->screens().list().at(0).displayID);
    ASSERT_TRUE(link);
    EXPECT_FALSE(link->IsRunning());
    ASSERT_TRUE(link->Start());
    EXPECT_TRUE(link->IsRunning());
    EXPECT_TRUE(link->Start()); // already running: still one thread
    ASSERT_TRUE(TestDesktop::WaitUntil([&] { return Ticks() >= 3; }));
    EXPECT_EQ(ThreadsNamed("display link"), 1);
    {
        std::lock_guard lock(mutex);
        EXPECT_EQ(threadName, "display link");
        EXPECT_EQ(lastTime, 5'000'000);
    }

    // Once Stop returns, the thread that calls back is gone.
    link->Stop();
    EXPECT_FALSE(link->IsRunning());
    EXPECT_EQ(ThreadsNamed("display link"), 0);
    link->Stop(); // harmless

    const int before = Ticks();
    ASSERT_TRUE(link->Start());
    ASSERT_TRUE(TestDesktop::WaitUntil([&] { return Ticks() >= before + 2; }));
    link.reset(); // stops it
    EXPECT_EQ(ThreadsNamed("display link"), 0);
}

TEST_F(DisplayLinkTest, NoLinkForADisplayThatIsNotAttached) { EXPECT_FALSE(Make(0x7FFF)); }
