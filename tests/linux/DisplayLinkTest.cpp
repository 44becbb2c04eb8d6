#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>

#include "TestDesktop.h"
#include "zTime.h"

using namespace qcp::platform;

namespace {

int64_t ManualNow() { return 5'000'000; }

// How many threads of this process bear `name`.
int ThreadsNamed(const std::string& name) {
    int count = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream comm(task.path() / "comm");
        std::string line;
        if (std::getline(comm, line) && line == name) ++count;
    }
    return count;
}

class DisplayLinkTest : public LinuxDesktopTest {
protected:
    void TearDown() override { zTime::SetSource(nullptr); }
};

} // namespace

TEST_F(DisplayLinkTest, TicksOnItsOwnThreadWithTheVideoTimeUntilStopped) {
    zTime::SetSource(&ManualNow);
    std::atomic<int> ticks = 0;
    std::atomic<int64_t> lastTime = 0;
    const auto tick = [&](int64_t videoTime) {
        lastTime = videoTime;
        ++ticks;
    };
    EXPECT_FALSE(platform->createDisplayLink(0x7FFF, tick)); // no such display
    auto link = platform->createDisplayLink(platform->screens().list().at(0).displayID, tick);
    ASSERT_TRUE(link);
    ASSERT_TRUE(link->Start());
    EXPECT_TRUE(link->IsRunning());
    EXPECT_TRUE(link->Start()); // already running: still one thread
    ASSERT_TRUE(TestDesktop::WaitUntil([&] { return ticks >= 3; }));
    EXPECT_EQ(ThreadsNamed("display link"), 1);
    EXPECT_EQ(lastTime, 5'000'000);

    // Once Stop returns, the thread that calls back is gone.
    link->Stop();
    EXPECT_FALSE(link->IsRunning());
    EXPECT_EQ(ThreadsNamed("display link"), 0);
}
