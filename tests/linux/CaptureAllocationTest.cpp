// A display or window capture in steady state allocates nothing per frame on
// the plug-in's threads, on a real X server, with the cursor off and drawn.
// A client repaints small parts of a window all the while.
// TestDesktop first: GoogleTest before Xlib's macros.
#include "LinuxPluginTest.h"

#include <atomic>
#include <optional>
#include <string>

#include "AllocationCounter.h"
#include "RectanglePainter.h"

namespace {

constexpr const char* kSource = "A";

// Frames reaching the host, counted without allocating: the callback runs on
// the threads being counted.
std::atomic<int> gFrames{0};
void Arrived(void*, QCP_VideoBuffer*) { ++gFrames; }

class CaptureAllocationTest : public LinuxPluginTest {
protected:
    void SetUp() override {
        LinuxPluginTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        window = desktop->Open({"Painted"}, 0x203040, 300, 200, 640, 360);
        ASSERT_NE(window, None);
        // About a thousand rectangles a second; the pointer moves over them now and then.
        painter.emplace(session->display(), window, 640, 360,
                        RectanglePainter::Options{16, std::chrono::milliseconds(16), true});
    }
    void TearDown() override {
        painter.reset();
        QCP_RemoveSource(QCP_SCREEN_DEVICE_ID, kSource);
        LinuxPluginTest::TearDown();
    }

    bool Capture(const std::string& settings) {
        return QCP_CreateNamedSource(QCP_SCREEN_DEVICE_ID, kSource) == 1 &&
               (QCP_RegisterVideoDataArrivedCallback(QCP_SCREEN_DEVICE_ID, kSource, &Arrived, &gFrames), true) &&
               QCP_SetSourceSettings(QCP_SCREEN_DEVICE_ID, kSource, settings.c_str()) == 1;
    }

    // Lets `frames` go by to warm up, then counts what the capture's threads
    // allocate while as many again go by: the fewest of up to five such
    // spells. A pool may still grow once to what a slow consumer holds (a
    // surface more, on a loaded machine); what allocates per frame does so
    // in every spell.
    int AllocationsOverFrames(int frames, const std::vector<std::string>& threads) {
        const auto passed = [&](int from) { return TestDesktop::WaitUntil([&] { return gFrames >= from + frames; }); };
        if (!passed(gFrames)) return -1;
        int fewest = -1;
        for (int spell = 0; spell < 5 && fewest != 0; ++spell) {
            const NamedThreadsAllocationCounter counter(threads);
            if (!passed(gFrames)) return -1;
            if (fewest < 0 || counter.count() < fewest) fewest = counter.count();
        }
        return fewest;
    }

    Window window = None;
    std::optional<RectanglePainter> painter;
};

std::string DisplaySettings(bool cursor) {
    return std::string("<settings><parameter name=\"Type\" value=\"0\"/>"
                       "<parameter name=\"capture_monitor\" value=\"0\"/><parameter name=\"cursor\" value=\"") +
           (cursor ? "true" : "false") + "\"/></settings>";
}

// The stream's queue, which reads the screen, and the render loop's queue (named by the source).
const std::vector<std::string> kDisplayThreads = {"com.qcp.capture", kSource};

// The painted window, by its title and its application (a window without a
// process id is its class's).
std::string WindowSettings(bool cursor) {
    return std::string("<settings><parameter name=\"Type\" value=\"1\"/>"
                       "<parameter name=\"capture_window\" value=\"Painted\"/>"
                       "<parameter name=\"capture_app\" value=\"QcpTest\"/><parameter name=\"cursor\" value=\"") +
           (cursor ? "true" : "false") + "\"/></settings>";
}

// The display link's thread, which reads the window and draws the cursor.
const std::vector<std::string> kWindowThreads = {"display link"};

} // namespace

TEST_F(CaptureAllocationTest, ADisplayWithTheCursorOffAllocatesNothingPerFrame) {
    ASSERT_TRUE(Capture(DisplaySettings(false)));
    EXPECT_EQ(AllocationsOverFrames(60, kDisplayThreads), 0);
}

TEST_F(CaptureAllocationTest, ADisplayWithTheCursorDrawnAllocatesNothingPerFrame) {
    ASSERT_TRUE(Capture(DisplaySettings(true)));
    EXPECT_EQ(AllocationsOverFrames(60, kDisplayThreads), 0);
}

TEST_F(CaptureAllocationTest, AWindowWithTheCursorOffAllocatesNothingPerFrame) {
    ASSERT_TRUE(Capture(WindowSettings(false)));
    EXPECT_EQ(AllocationsOverFrames(60, kWindowThreads), 0);
}

TEST_F(CaptureAllocationTest, AWindowWithTheCursorDrawnAllocatesNothingPerFrame) {
    ASSERT_TRUE(Capture(WindowSettings(true)));
    EXPECT_EQ(AllocationsOverFrames(60, kWindowThreads), 0);
}
