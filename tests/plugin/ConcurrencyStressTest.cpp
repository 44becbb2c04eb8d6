// Several host threads create, configure, read and remove display, region,
// window and game sources at once, registering and clearing callbacks, while
// the desktop moves, resizes, closes and reopens windows and unplugs a
// display. Run under ThreadSanitizer and AddressSanitizer in CI: any race or
// use after free is a failure there; here the plug-in must not crash or hang,
// must deliver nothing after a removal, and must keep the sources that stay
// fed.
#include <atomic>
#include <chrono>
#include <random>
#include <thread>

#include "PluginFixture.h"

using namespace std::chrono_literals;

namespace {

// What one source's callbacks saw. A callback after the source's removal has
// returned is a broken promise of the host interface.
struct Receiver {
    std::atomic<int> frames{0};
    std::atomic<bool> removed{false};
    std::atomic<int> afterRemoval{0};
    std::string id;

    static void Video(void* context, QCP_VideoBuffer* frame) {
        auto* self = static_cast<Receiver*>(context);
        if (self->removed) self->afterRemoval.fetch_add(1);
        if (frame->surfaceId) {
            // A host may look the surface up and read from inside the callback.
            if (QCP_Surface* surface = QCP_SurfaceLookup(*frame->surfaceId)) {
                QCP_SurfaceLock(surface);
                (void)QCP_SurfaceGetBaseAddress(surface);
                QCP_SurfaceUnlock(surface);
                QCP_SurfaceRelease(surface);
            }
        }
        // Reads are allowed from a callback; so is an attempt to change the
        // calling source, which is refused rather than deadlocking.
        if (self->frames.fetch_add(1) % 16 == 0) {
            uint32_t length = 0;
            QCP_GetSourceSettings(QCP_SCREEN_DEVICE_ID, self->id.c_str(), nullptr, &length);
            QCP_SetSourceSettings(QCP_SCREEN_DEVICE_ID, self->id.c_str(),
                                  "<settings><parameter name=\"cursor\" value=\"true\"/></settings>");
        }
    }
    static void Changed(void* context, int) {
        if (static_cast<Receiver*>(context)->removed) static_cast<Receiver*>(context)->afterRemoval.fetch_add(1);
    }
};

std::string Parameter(const char* name, const std::string& value) {
    return std::string("<parameter name=\"") + name + "\" value=\"" + value + "\"/>";
}

// A settings record of a random kind: display, region, window or game.
std::string RandomSettings(std::mt19937& random) {
    const bool cursor = random() % 2;
    std::string xml = "<settings>" + Parameter("cursor", cursor ? "true" : "false");
    switch (random() % 4) {
    case 0: xml += Parameter("Type", "0") + Parameter("capture_monitor", std::to_string(random() % 3)); break;
    case 1:
        xml += Parameter("Type", "0") + Parameter("capture_monitor", "0") +
               Parameter("capture_monitor_region", "10,20,329,259") + Parameter("capture_monitor_state", "1");
        break;
    case 2: xml += Parameter("Type", "1") + Parameter("capture_window", "Racer") + Parameter("capture_app", "Racer"); break;
    default:
        xml += Parameter("Type", "2") + Parameter("capture_window", "Racer") + Parameter("capture_app", "Racer") +
               Parameter("capture_game_fullscreen", random() % 2 ? "true" : "false");
    }
    return xml + "</settings>";
}

class ConcurrencyStressTest : public PluginTest {
protected:
    static constexpr int kHostThreads = 4;
    static constexpr int kCyclesPerThread = 25;

    // One host thread: sources come and go, each configured, read and
    // re-configured a few times on the way.
    void HostThread(int seed) {
        std::mt19937 random(seed);
        for (int cycle = 0; cycle < kCyclesPerThread && !fStop; ++cycle) {
            Receiver receiver;
            receiver.id = "stress-" + std::to_string(seed) + "-" + std::to_string(cycle);
            const char* id = receiver.id.c_str();
            ASSERT_EQ(QCP_CreateNamedSource(QCP_SCREEN_DEVICE_ID, id), 1);
            QCP_RegisterVideoDataArrivedCallback(QCP_SCREEN_DEVICE_ID, id, &Receiver::Video, &receiver);
            QCP_RegisterSourceChangedCallback(QCP_SCREEN_DEVICE_ID, id, &Receiver::Changed, &receiver);
            for (int step = 0; step < 3; ++step) {
                SetSettings(receiver.id, RandomSettings(random));
                (void)Settings(receiver.id);
                QCP_GetProperty(nullptr, [](void*, QCP_PropertyType, void*) {}, "analytics_tertiary_type",
                                QCP_SCREEN_DEVICE_ID, id);
                (void)SourceId(QCP_SCREEN_DEVICE_ID, uint32_t(random() % 8));
                std::this_thread::sleep_for(std::chrono::milliseconds(random() % 20));
            }
            if (random() % 2) QCP_RegisterVideoDataArrivedCallback(QCP_SCREEN_DEVICE_ID, id, nullptr, nullptr);
            ASSERT_EQ(QCP_RemoveSource(QCP_SCREEN_DEVICE_ID, id), 1);
            receiver.removed = true;
            // The receiver goes out of scope next: under AddressSanitizer a
            // late callback would also be a use after free.
            EXPECT_EQ(receiver.afterRemoval.load(), 0) << receiver.id;
        }
    }

    // The desktop changing under the hosts: windows move, resize, close and
    // reopen, the second display is unplugged and plugged back.
    void DesktopThread() {
        std::mt19937 random(7);
        uint32_t window = world().OpenWindow(4500, "Racer", {200, 100, 800, 600});
        for (int round = 0; !fStop; ++round) {
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
    }

    std::atomic<bool> fStop{false};
};

} // namespace

TEST_F(ConcurrencyStressTest, HostThreadsAndTheDesktopChangingAtOnceBreakNothing) {
    world().AddProcess(4500, "Racer");
    // A display source that stays through the storm and must stay fed.
    Receiver steady;
    steady.id = CreateSource();
    QCP_RegisterVideoDataArrivedCallback(QCP_SCREEN_DEVICE_ID, steady.id.c_str(), &Receiver::Video, &steady);
    SetSettings(steady.id, "<settings>" + Parameter("Type", "0") + Parameter("capture_monitor", "0") + "</settings>");

    std::thread desktop([&] { DesktopThread(); });
    std::vector<std::thread> hosts;
    for (int seed = 1; seed <= kHostThreads; ++seed) hosts.emplace_back([this, seed] { HostThread(seed); });
    for (std::thread& host : hosts) host.join();

    // Only the steady source is left, and it is still delivering.
    EXPECT_EQ(QCP_GetSourceCount(QCP_SCREEN_DEVICE_ID), 1u);
    const int before = steady.frames.load();
    EXPECT_TRUE(WaitFor([&] { return steady.frames.load() > before + 5; }, 10s))
        << "the source that stayed gets frames after the storm";
    fStop = true;
    desktop.join();
    EXPECT_EQ(QCP_RemoveSource(QCP_SCREEN_DEVICE_ID, steady.id.c_str()), 1);
    steady.removed = true;
}
