// Game and window sources following their window, end to end through the
// host interface: settings in, frames out at the host's video callback.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>

#include "ManualClock.h"
#include "PluginFixture.h"
#include "PluginGlobals.h"

using namespace std::chrono_literals;

namespace {

// Frames as the host receives them (no-feed frames left out).
struct Frames {
    std::mutex mutex;
    std::vector<std::pair<uint32_t, uint32_t>> sizes;
    static void Arrived(void* context, QCP_VideoBuffer* frame) {
        auto* self = static_cast<Frames*>(context);
        if (frame->width == 1280 && frame->height == 720 && frame->timeStamp != 0) return; // no-feed
        std::lock_guard lock(self->mutex);
        self->sizes.emplace_back(frame->width, frame->height);
    }
    size_t Count() {
        std::lock_guard lock(mutex);
        return sizes.size();
    }
    void Clear() {
        std::lock_guard lock(mutex);
        sizes.clear();
    }
    // Waits (a generous real-time bound: only a hang reaches it) for a
    // frame of the size; true when one came.
    bool WaitForSize(uint32_t width, uint32_t height, std::chrono::milliseconds limit) {
        return WaitFor(
            [&] {
                std::lock_guard lock(mutex);
                return std::find(sizes.begin(), sizes.end(), std::make_pair(width, height)) != sizes.end();
            },
            limit);
    }
};

std::string GameSettings(const std::string& title, const std::string& app, bool fullscreen) {
    return "<settings><parameter name=\"Type\" value=\"2\"/><parameter name=\"cursor\" value=\"false\"/>"
           "<parameter name=\"capture_window\" value=\"" +
           title + "\"/><parameter name=\"capture_app\" value=\"" + app +
           "\"/><parameter name=\"capture_game_fullscreen\" value=\"" + (fullscreen ? "true" : "false") +
           "\"/></settings>";
}

// The desktop runs on a manual clock that a pump moves twice as fast as real
// time while touching both displays, so streams deliver and monitors poll; a
// test that needs time to stand still pauses the pump. Bounds on the clock
// leave room for a thread that wakes late.
class WindowMonitorTest : public PluginTest {
protected:
    void SetUp() override {
        PluginTest::SetUp();
        world().AddProcess(4500, "Racer");
        id = CreateSource();
        QCP_RegisterVideoDataArrivedCallback(QCP_SCREEN_DEVICE_ID, id.c_str(), &Frames::Arrived, &frames);
        fPump = std::thread([this] {
            while (!fStopPump) {
                if (!fPaused) {
                    clock.Advance(2'000);
                    world().TouchDisplay(kMainDisplay);
                    world().TouchDisplay(kSecondDisplay);
                }
                std::this_thread::sleep_for(1ms);
            }
        });
    }
    void TearDown() override {
        fStopPump = true;
        fPump.join();
        PluginTest::TearDown();
    }
    bool Running() { return g_pMacCaptureManager->getSource(id)->isRunng(); }
    // Waits until the desktop has handed out `count` more window lists: each
    // monitor poll reads one, so the monitor has looked that often.
    void WaitForWindowLists(uint64_t count) {
        const uint64_t target = world().Counters().windowLists + count;
        ASSERT_TRUE(WaitFor([&] { return world().Counters().windowLists >= target; }, 10s));
    }
    void WaitForLinkTicks(uint64_t count) {
        const uint64_t target = world().Counters().linkTicks + count;
        ASSERT_TRUE(WaitFor([&] { return world().Counters().linkTicks >= target; }, 10s));
    }

    ManualClock clock;
    std::atomic<bool> fPaused{false};
    std::string id;
    Frames frames;

private:
    std::atomic<bool> fStopPump{false};
    std::thread fPump;
};

} // namespace

TEST_F(WindowMonitorTest, AnAbsentWindowIsSearchedForWithoutStartingTheSource) {
    SetSettings(id, GameSettings("Racer", "Racer", false));
    std::string app, title;
    ASSERT_TRUE(g_pMacCaptureManager->getCaptureMonitorAppWindowForSourceID(id, &app, &title));
    EXPECT_EQ(title, "Racer");
    g_pMacCaptureManager->stopSource(id);
    frames.Clear();
    WaitForWindowLists(3); // three searches at least
    EXPECT_FALSE(Running());
    EXPECT_EQ(frames.Count(), 0u);
    // The followed window is what the settings report.
    EXPECT_EQ(Value(Settings(id), "capture_window"), "Racer");
}

TEST_F(WindowMonitorTest, AnAppearingWindowIsCapturedWithinASecond) {
    SetSettings(id, GameSettings("Racer", "Racer", false));
    g_pMacCaptureManager->stopSource(id);
    WaitForWindowLists(1);
    const int64_t opened = clock.Now();
    world().OpenWindow(4500, "Racer", {200, 100, 800, 600});
    EXPECT_TRUE(frames.WaitForSize(800, 600, 10s));
    EXPECT_TRUE(Running());
    // A search a second, not a slower one.
    EXPECT_LE(clock.Now() - opened, 1'500'000);
}

TEST_F(WindowMonitorTest, MovesAndResizesReaimWithTheFullscreenFlagOff) {
    const uint32_t window = world().OpenWindow(4500, "Racer", {200, 100, 800, 600});
    SetSettings(id, GameSettings("Racer", "Racer", false));
    ASSERT_TRUE(frames.WaitForSize(800, 600, 10s));
    const int64_t moved = clock.Now();
    world().MoveWindow(window, 201, 100);
    world().ResizeWindow(window, 640, 480);
    EXPECT_TRUE(frames.WaitForSize(640, 480, 10s));
    EXPECT_LE(clock.Now() - moved, 500'000) << "a held window is looked at ten times a second, not once";
}

TEST_F(WindowMonitorTest, WithTheFullscreenFlagOnlyADisplayChangeReaims) {
    const uint32_t window = world().OpenWindow(4500, "Racer", {200, 100, 800, 600});
    SetSettings(id, GameSettings("Racer", "Racer", true));
    ASSERT_TRUE(frames.WaitForSize(1920, 1080, 10s));
    world().MoveWindow(window, 300, 150);
    WaitForWindowLists(3);
    EXPECT_EQ(g_pMacCaptureManager->getSource(id)->getCaptureDisplay(), kMainDisplay);
    world().MoveWindow(window, 2100, 100); // onto the second display
    EXPECT_TRUE(frames.WaitForSize(1280, 1024, 10s));
    EXPECT_EQ(g_pMacCaptureManager->getSource(id)->getCaptureDisplay(), kSecondDisplay);
}

TEST_F(WindowMonitorTest, AReopenedWindowIsCapturedAgain) {
    const uint32_t window = world().OpenWindow(4500, "Racer", {200, 100, 800, 600});
    SetSettings(id, GameSettings("Racer", "Racer", false));
    ASSERT_TRUE(frames.WaitForSize(800, 600, 10s));
    world().CloseWindow(window);
    // The application opens it again: a new number, the same title, elsewhere.
    EXPECT_NE(world().OpenWindow(4500, "Racer", {400, 200, 700, 500}), window);
    EXPECT_TRUE(frames.WaitForSize(700, 500, 10s));
}

TEST_F(WindowMonitorTest, AWindowSourceWhoseWindowClosesSendsNothing) {
    const uint32_t window = world().OpenWindow(4500, "Racer", {200, 100, 640, 480});
    SetSettings(id, "<settings><parameter name=\"Type\" value=\"1\"/><parameter name=\"capture_window\" "
                    "value=\"Racer\"/><parameter name=\"capture_app\" value=\"Racer\"/></settings>");
    ASSERT_TRUE(frames.WaitForSize(640, 480, 10s)) << "frames of the window image";
    world().CloseWindow(window);
    QCP_ShowCustomConfigDialog(QCP_SCREEN_DEVICE_ID, id.c_str(), 1); // refreshes the inventory
    WaitForLinkTicks(2); // a frame already on its way has arrived
    frames.Clear();
    WaitForLinkTicks(10);
    EXPECT_EQ(frames.Count(), 0u);
    EXPECT_TRUE(Running()) << "the display link keeps running; it just finds no window";
}

TEST_F(WindowMonitorTest, RemovingTheSourceEndsItsMonitorAtOnce) {
    SetSettings(id, GameSettings("Racer", "Racer", false));
    WaitForWindowLists(1); // the first search is done: the monitor waits a second
    fPaused = true;
    // With the clock standing still only the stop signal can end that wait:
    // if it did not, this removal would never return.
    EXPECT_EQ(QCP_RemoveSource(QCP_SCREEN_DEVICE_ID, id.c_str()), 1);
    EXPECT_FALSE(g_pMacCaptureManager->getCaptureMonitorAppWindowForSourceID(id, nullptr, nullptr));
}

TEST_F(WindowMonitorTest, UninitialisingWithMonitorsRunningLeavesNoThreadBehind) {
    SetSettings(id, GameSettings("Racer", "Racer", false));
    const std::string other = CreateSource();
    SetSettings(other, GameSettings("Elsewhere", "Racer", true));
    QCP_UninitializeLibrary();
    EXPECT_EQ(g_pMacCaptureManager, nullptr);
    ASSERT_EQ(QCP_IntitializeLibrary(), 1); // for the fixture's own tear-down
}
