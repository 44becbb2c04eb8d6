#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>

#include "ManualClock.h"
#include "TestDesktop.h"

using namespace qcp::platform;

namespace {

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
    ManualClock clock; // the link is paced on it
};

} // namespace

TEST_F(DisplayLinkTest, TicksOnItsOwnThreadWithTheVideoTimeUntilStopped) {
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
    // Only the clock moves it: refresh by refresh (the link's thread reads
    // the clock when it starts, so the first may take more than one).
    for (int refresh = 0; refresh < 100 && ticks < 3; ++refresh) {
        const int before = ticks;
        clock.Advance(20'000);
        TestDesktop::WaitUntil([&] { return ticks > before; }, std::chrono::milliseconds(100));
    }
    ASSERT_EQ(ticks, 3);
    EXPECT_EQ(ThreadsNamed("display link"), 1);
    EXPECT_EQ(lastTime, clock.Now()) << "the video time is the clock's";

    // Once Stop returns, the thread that calls back is gone.
    link->Stop();
    EXPECT_FALSE(link->IsRunning());
    EXPECT_EQ(ThreadsNamed("display link"), 0);
}
