// The storm of host threads of the simulated desktop's stress test, over the
// X11 platform on a real X server: windows move, repaint, close and reopen
// while sources come and go, and a display source that stays keeps getting
// frames.
#include <atomic>
#include <random>
#include <thread>

#include "HostStress.h"
#include "LinuxPluginTest.h"

using namespace std::chrono_literals;

namespace {

using HostStressTest = LinuxPluginTest;

} // namespace

TEST_F(HostStressTest, HostThreadsAndAChangingDesktopAtOnceBreakNothing) {
    constexpr int kHostThreads = 3, kCyclesPerThread = 8;
    hoststress::Receiver steady;
    steady.id = "steady";
    ASSERT_EQ(QCP_CreateNamedSource(QCP_SCREEN_DEVICE_ID, "steady"), 1);
    QCP_RegisterVideoDataArrivedCallback(QCP_SCREEN_DEVICE_ID, "steady", &hoststress::Receiver::Video, &steady);
    QCP_SetSourceSettings(QCP_SCREEN_DEVICE_ID, "steady", "<settings><parameter name=\"Type\" value=\"0\"/></settings>");

    // The desktop's own client: Xlib connections belong to one thread.
    std::atomic<bool> stop{false};
    std::thread changes([&] {
        std::mt19937 random(7);
        Window window = desktop->Open({"Racer"}, 0x3060C0, 100, 100, 320, 240);
        for (int round = 0; !stop; ++round) {
            desktop->Paint(window, uint32_t(random()) & 0xFFFFFF);
            if (round % 4 == 1) XMoveWindow(desktop->display(), window, int(random() % 600), int(random() % 400));
            if (round % 16 == 9) {
                desktop->Close(window);
                window = desktop->Open({"Racer"}, 0x60C030, 200, 150, 300, 200);
            }
            XFlush(desktop->display());
            std::this_thread::sleep_for(10ms);
        }
        desktop->Close(window);
    });
    std::vector<std::thread> hosts;
    const std::atomic<bool> never{false};
    for (int seed = 1; seed <= kHostThreads; ++seed)
        hosts.emplace_back([&, seed] { hoststress::HostThread(seed, kCyclesPerThread, never, "Racer", "QcpTest"); });
    for (std::thread& host : hosts) host.join();

    EXPECT_EQ(QCP_GetSourceCount(QCP_SCREEN_DEVICE_ID), 1u);
    const int before = steady.frames.load();
    EXPECT_TRUE(TestDesktop::WaitUntil([&] { return steady.frames.load() > before + 3; }))
        << "the source that stayed still gets frames";
    stop = true;
    changes.join();
    EXPECT_EQ(QCP_RemoveSource(QCP_SCREEN_DEVICE_ID, "steady"), 1);
    steady.removed = true;
}
