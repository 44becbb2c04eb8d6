// Several host threads create, configure, read and remove display, region,
// window and game sources at once, registering and clearing callbacks, while
// the simulated desktop moves, resizes, closes and reopens windows and
// unplugs a display. Under ThreadSanitizer and AddressSanitizer in CI any race
// or use after free fails it; here the plug-in must not crash or hang, must
// deliver nothing after a removal, and must keep the source that stays fed.
#include <atomic>
#include <random>
#include <thread>

#include "HostStress.h"
#include "PluginFixture.h"

using namespace std::chrono_literals;

TEST_F(PluginTest, HostThreadsAndAChangingDesktopAtOnceBreakNothing) {
    constexpr int kHostThreads = 4, kCyclesPerThread = 25;
    world().AddProcess(4500, "Racer");
    hoststress::Receiver steady;
    steady.id = CreateSource();
    QCP_RegisterVideoDataArrivedCallback(QCP_SCREEN_DEVICE_ID, steady.id.c_str(), &hoststress::Receiver::Video,
                                         &steady);
    SetSettings(steady.id, "<settings><parameter name=\"Type\" value=\"0\"/></settings>");

    std::atomic<bool> stop{false};
    std::thread desktop([&] {
        std::mt19937 random(7);
        uint32_t window = world().OpenWindow(4500, "Racer", {200, 100, 800, 600});
        for (int round = 0; !stop; ++round) {
            world().TouchDisplay(kMainDisplay);
            world().TouchDisplay(kSecondDisplay);
            switch (round % 8) {
            case 1: world().MoveWindow(window, 100 + random() % 2000, 50 + random() % 400); break;
            case 3: world().ResizeWindow(window, 320 + random() % 600, 240 + random() % 400); break;
            case 5:
                world().CloseWindow(window);
                window = world().ReopenWindow(window, qcp::platform::Rect{300, 200, 640, 480});
                break;
            case 7:
                if (round % 32 == 7) {
                    world().RemoveScreen(kSecondDisplay);
                    world().AddScreen({kSecondDisplay, {1920, 56, 1280, 1024}, 1.0, "Side", 60});
                }
                break;
            }
            std::this_thread::sleep_for(5ms);
        }
    });
    std::vector<std::thread> hosts;
    const std::atomic<bool> never{false};
    for (int seed = 1; seed <= kHostThreads; ++seed)
        hosts.emplace_back([&, seed] { hoststress::HostThread(seed, kCyclesPerThread, never, "Racer", "Racer"); });
    for (std::thread& host : hosts) host.join();

    EXPECT_EQ(QCP_GetSourceCount(QCP_SCREEN_DEVICE_ID), 1u) << "only the steady source is left";
    const int before = steady.frames.load();
    EXPECT_TRUE(WaitFor([&] { return steady.frames.load() > before + 5; }, 10s)) << "and it still gets frames";
    stop = true;
    desktop.join();
    EXPECT_EQ(QCP_RemoveSource(QCP_SCREEN_DEVICE_ID, steady.id.c_str()), 1);
    steady.removed = true;
}
