// A display capture in steady state allocates nothing per frame on the
// plug-in's threads, on a real X server, with the cursor off and drawn (the
// render loop). A client repaints small parts all the while.
// TestDesktop first: GoogleTest before Xlib's macros.
#include "LinuxPluginTest.h"

#include <atomic>
#include <random>
#include <string>
#include <thread>

#include "AllocationCounter.h"

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
        painter = std::thread([this, display = session->display()] { Paint(display); });
    }
    void TearDown() override {
        painting = false;
        if (painter.joinable()) painter.join();
        QCP_RemoveSource(QCP_SCREEN_DEVICE_ID, kSource);
        LinuxPluginTest::TearDown();
    }

    // Small rectangles into the window, about a thousand a second, from a
    // connection of its own; the pointer moves over it now and then.
    void Paint(const std::string& display) {
        Display* own = XOpenDisplay(display.c_str());
        if (!own) return;
        GC gc = XCreateGC(own, window, 0, nullptr);
        std::mt19937 random(5);
        for (int i = 0; painting; ++i) {
            XSetForeground(own, gc, random() & 0xFFFFFF);
            XFillRectangle(own, window, gc, int(random() % 600), int(random() % 320), 40, 40);
            if (i % 16 == 0) {
                XWarpPointer(own, None, window, 0, 0, 0, 0, int(random() % 640), int(random() % 360));
                XSync(own, False);
                std::this_thread::sleep_for(std::chrono::milliseconds(16));
            }
        }
        XFreeGC(own, gc);
        XCloseDisplay(own);
    }

    bool Capture(const std::string& settings) {
        return QCP_CreateNamedSource(QCP_SCREEN_DEVICE_ID, kSource) == 1 &&
               (QCP_RegisterVideoDataArrivedCallback(QCP_SCREEN_DEVICE_ID, kSource, &Arrived, &gFrames), true) &&
               QCP_SetSourceSettings(QCP_SCREEN_DEVICE_ID, kSource, settings.c_str()) == 1;
    }

    // Lets `frames` go by to warm up, then counts what the capture's threads
    // allocate while as many again go by.
    int AllocationsOverFrames(int frames, const std::vector<std::string>& threads) {
        const auto passed = [&](int from) { return TestDesktop::WaitUntil([&] { return gFrames >= from + frames; }); };
        if (!passed(gFrames)) return -1;
        const NamedThreadsAllocationCounter counter(threads);
        if (!passed(gFrames)) return -1;
        return counter.count();
    }

    Window window = None;
    std::atomic<bool> painting = true;
    std::thread painter;
};

std::string DisplaySettings(bool cursor) {
    return std::string("<settings><parameter name=\"Type\" value=\"0\"/>"
                       "<parameter name=\"capture_monitor\" value=\"0\"/><parameter name=\"cursor\" value=\"") +
           (cursor ? "true" : "false") + "\"/></settings>";
}

// The stream's thread and queue, and the render loop's queue (named by the source).
const std::vector<std::string> kDisplayThreads = {"display stream", "com.qcp.capture", kSource};

} // namespace

TEST_F(CaptureAllocationTest, ADisplayWithTheCursorOffAllocatesNothingPerFrame) {
    ASSERT_TRUE(Capture(DisplaySettings(false)));
    EXPECT_EQ(AllocationsOverFrames(60, kDisplayThreads), 0);
}

TEST_F(CaptureAllocationTest, ADisplayWithTheCursorDrawnAllocatesNothingPerFrame) {
    ASSERT_TRUE(Capture(DisplaySettings(true)));
    EXPECT_EQ(AllocationsOverFrames(60, kDisplayThreads), 0);
}
