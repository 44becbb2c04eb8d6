// Game and window sources following their window, end to end through the
// host interface: settings in, frames out at the host's video callback.
#include <chrono>
#include <mutex>
#include <thread>

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
    // Waits up to `limit` for a frame of the size; true when one came.
    bool WaitForSize(uint32_t width, uint32_t height, std::chrono::milliseconds limit) {
        const auto end = std::chrono::steady_clock::now() + limit;
        while (std::chrono::steady_clock::now() < end) {
            {
                std::lock_guard lock(mutex);
                for (auto& size : sizes)
                    if (size == std::make_pair(width, height)) return true;
            }
            std::this_thread::sleep_for(10ms);
        }
        return false;
    }
};

std::string GameSettings(const std::string& title, const std::string& app, bool fullscreen) {
    return "<settings><parameter name=\"Type\" value=\"2\"/><parameter name=\"cursor\" value=\"false\"/>"
           "<parameter name=\"capture_window\" value=\"" +
           title + "\"/><parameter name=\"capture_app\" value=\"" + app +
           "\"/><parameter name=\"capture_game_fullscreen\" value=\"" + (fullscreen ? "true" : "false") +
           "\"/></settings>";
}

class WindowMonitorTest : public PluginTest {
protected:
    void SetUp() override {
        PluginTest::SetUp();
        world().AddProcess(4500, "Racer");
        id = CreateSource();
        QCP_RegisterVideoDataArrivedCallback(QCP_SCREEN_DEVICE_ID, id.c_str(), &Frames::Arrived, &frames);
    }
    // Keeps the display showing something new, so its stream delivers.
    void Animate(std::chrono::milliseconds span) {
        const auto end = std::chrono::steady_clock::now() + span;
        while (std::chrono::steady_clock::now() < end) {
            world().TouchDisplay(kMainDisplay);
            world().TouchDisplay(kSecondDisplay);
            std::this_thread::sleep_for(20ms);
        }
    }
    bool Running() { return g_pMacCaptureManager->getSource(id)->isRunng(); }

    std::string id;
    Frames frames;
};

} // namespace

TEST_F(WindowMonitorTest, AnAbsentWindowIsSearchedForWithoutStartingTheSource) {
    SetSettings(id, GameSettings("Racer", "Racer", false));
    std::string app, title;
    ASSERT_TRUE(g_pMacCaptureManager->getCaptureMonitorAppWindowForSourceID(id, &app, &title));
    EXPECT_EQ(title, "Racer");
    g_pMacCaptureManager->stopSource(id);
    frames.Clear();
    Animate(1500ms);
    EXPECT_FALSE(Running());
    EXPECT_EQ(frames.Count(), 0u);
    // The followed window is what the settings report.
    EXPECT_EQ(Value(Settings(id), "capture_window"), "Racer");
}

TEST_F(WindowMonitorTest, AnAppearingWindowIsCapturedWithinASecond) {
    SetSettings(id, GameSettings("Racer", "Racer", false));
    g_pMacCaptureManager->stopSource(id);
    world().OpenWindow(4500, "Racer", {200, 100, 800, 600});
    std::thread animate([&] { Animate(2000ms); });
    EXPECT_TRUE(frames.WaitForSize(800, 600, 2000ms));
    animate.join();
    EXPECT_TRUE(Running());
}

TEST_F(WindowMonitorTest, MovesAndResizesReaimWithTheFullscreenFlagOff) {
    const uint32_t window = world().OpenWindow(4500, "Racer", {200, 100, 800, 600});
    SetSettings(id, GameSettings("Racer", "Racer", false));
    std::thread animate([&] { Animate(2500ms); });
    ASSERT_TRUE(frames.WaitForSize(800, 600, 1500ms));
    world().MoveWindow(window, 201, 100);
    world().ResizeWindow(window, 640, 480);
    EXPECT_TRUE(frames.WaitForSize(640, 480, 800ms));
    animate.join();
}

TEST_F(WindowMonitorTest, WithTheFullscreenFlagOnlyADisplayChangeReaims) {
    const uint32_t window = world().OpenWindow(4500, "Racer", {200, 100, 800, 600});
    SetSettings(id, GameSettings("Racer", "Racer", true));
    std::thread animate([&] { Animate(3000ms); });
    ASSERT_TRUE(frames.WaitForSize(1920, 1080, 1500ms));
    world().MoveWindow(window, 300, 150);
    std::this_thread::sleep_for(400ms);
    EXPECT_EQ(g_pMacCaptureManager->getSource(id)->getCaptureDisplay(), kMainDisplay);
    world().MoveWindow(window, 2100, 100); // onto the second display
    EXPECT_TRUE(frames.WaitForSize(1280, 1024, 1000ms));
    EXPECT_EQ(g_pMacCaptureManager->getSource(id)->getCaptureDisplay(), kSecondDisplay);
    animate.join();
}

TEST_F(WindowMonitorTest, AReopenedWindowIsCapturedAgain) {
    const uint32_t window = world().OpenWindow(4500, "Racer", {200, 100, 800, 600});
    SetSettings(id, GameSettings("Racer", "Racer", false));
    std::thread animate([&] { Animate(3000ms); });
    ASSERT_TRUE(frames.WaitForSize(800, 600, 1500ms));
    world().CloseWindow(window);
    std::this_thread::sleep_for(300ms);
    // The application opens it again: a new number, the same title, elsewhere.
    EXPECT_NE(world().OpenWindow(4500, "Racer", {400, 200, 700, 500}), window);
    EXPECT_TRUE(frames.WaitForSize(700, 500, 1500ms));
    animate.join();
}

TEST_F(WindowMonitorTest, AWindowSourceWhoseWindowClosesSendsNothing) {
    const uint32_t window = world().OpenWindow(4500, "Racer", {200, 100, 640, 480});
    SetSettings(id, "<settings><parameter name=\"Type\" value=\"1\"/><parameter name=\"capture_window\" "
                    "value=\"Racer\"/><parameter name=\"capture_app\" value=\"Racer\"/></settings>");
    ASSERT_TRUE(frames.WaitForSize(640, 480, 1500ms)) << "frames of the window image";
    world().CloseWindow(window);
    QCP_ShowCustomConfigDialog(QCP_SCREEN_DEVICE_ID, id.c_str(), 1); // refreshes the inventory
    std::this_thread::sleep_for(100ms);
    frames.Clear();
    std::this_thread::sleep_for(300ms);
    EXPECT_EQ(frames.Count(), 0u);
    EXPECT_TRUE(Running()) << "the display link keeps running; it just finds no window";
}

TEST_F(WindowMonitorTest, RemovingTheSourceEndsItsMonitorAtOnce) {
    SetSettings(id, GameSettings("Racer", "Racer", false));
    std::this_thread::sleep_for(100ms); // the monitor is in its one-second wait
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(QCP_RemoveSource(QCP_SCREEN_DEVICE_ID, id.c_str()), 1);
    EXPECT_LT(std::chrono::steady_clock::now() - before, 900ms) << "the stop signal cuts the wait short";
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
