#include <gtest/gtest.h>

#include <X11/extensions/Xrandr.h>

#include <algorithm>

#include "StreamRecorder.h"
#include "TestDesktop.h"

using namespace qcp::platform;

namespace {

class DisplayStreamTest : public LinuxDesktopTest {
protected:
    void TearDown() override {
        stream.reset();
        if (sideAdded) {
            XRRDeleteMonitor(desktop->display(), desktop->root(), XInternAtom(desktop->display(), "SIDE", False));
            XSync(desktop->display(), False);
        }
    }

    uint32_t MainDisplay() { return platform->screens().list().at(0).displayID; }

    std::unique_ptr<DisplayStream> Make(uint32_t display, uint32_t width, uint32_t height,
                                        std::optional<Rect> sourceRect = std::nullopt) {
        DisplayStreamConfig config;
        config.displayID = display;
        config.outputWidth = width;
        config.outputHeight = height;
        config.sourceRect = sourceRect;
        config.queue = &recorder.queue();
        config.handler = recorder.Handler();
        return platform->createDisplayStream(std::move(config));
    }

    static Pixel FramePixel(const StreamRecorder::Delivery& delivery, int x, int y) {
        SurfaceLock lock(*delivery.surface);
        return PixelAt(delivery.surface->baseAddress(), delivery.surface->bytesPerRow(), x, y);
    }

    // The index of the first Complete frame from `from` on whose pixels are
    // the colours expected; -1 when none comes.
    struct Expected {
        int x, y;
        uint32_t rgb;
    };
    int WaitForPixel(size_t from, int x, int y, uint32_t rgb) { return WaitForPixels(from, {{x, y, rgb}}); }
    int WaitForPixels(size_t from, const std::vector<Expected>& expected) {
        return recorder.WaitFor(from, [&](const StreamRecorder::Delivery& d) {
            return d.status == FrameStatus::Complete &&
                   std::all_of(expected.begin(), expected.end(),
                               [&](const Expected& e) { return FramePixel(d, e.x, e.y) == Opaque(e.rgb); });
        });
    }

    StreamRecorder recorder;
    std::unique_ptr<DisplayStream> stream;
    bool sideAdded = false;
};

} // namespace

TEST_F(DisplayStreamTest, DeliversTheScreenThenIdlesUntilSomethingChanges) {
    const Window window = desktop->Open(TestDesktop::Titled("Watched"), 0xFF0000, 200, 200, 300, 200);
    ASSERT_NE(window, None);
    const TestDesktop::Area client = desktop->ClientArea(window);
    const int cx = client.x + client.width / 2, cy = client.y + client.height / 2;
    stream = Make(MainDisplay(), 1920, 1080);
    ASSERT_TRUE(stream);
    ASSERT_TRUE(stream->Start());

    const int first = WaitForPixel(0, cx, cy, 0xFF0000);
    ASSERT_GE(first, 0);
    const auto frame = recorder.Deliveries()[size_t(first)];
    EXPECT_TRUE(frame.onQueue);
    EXPECT_EQ(frame.surface->width(), 1920u);
    EXPECT_EQ(frame.surface->height(), 1080u);
    EXPECT_EQ(frame.surface->pixelFormat(), kPixelFormatBGRA);
    EXPECT_EQ(FramePixel(frame, 0, 0).a, 255); // the screen's undefined byte made opaque
    EXPECT_EQ(FramePixel(frame, 1919, 1079).a, 255);

    const int idle = recorder.WaitFor(size_t(first) + 1, FrameStatus::Idle);
    ASSERT_GE(idle, 0);

    desktop->Paint(window, 0x00FF00);
    const int changed = WaitForPixel(size_t(idle) + 1, cx, cy, 0x00FF00);
    ASSERT_GE(changed, 0);
    // The frame delivered before is untouched by the capture of the next one.
    EXPECT_EQ(FramePixel(frame, cx, cy), Opaque(0xFF0000));
    // Idle comes once per quiet spell, never twice without a frame between.
    const auto deliveries = recorder.Deliveries();
    for (size_t i = 1; i < deliveries.size(); ++i)
        EXPECT_FALSE(deliveries[i].status == FrameStatus::Idle && deliveries[i - 1].status == FrameStatus::Idle);
}

TEST_F(DisplayStreamTest, TheSourceRectangleIsScaledToTheOutputSize) {
    const Window window = desktop->Open(TestDesktop::Titled("Scaled"), 0x0000FF, 300, 300, 400, 200);
    ASSERT_NE(window, None);
    const TestDesktop::Area client = desktop->ClientArea(window);
    // The client area alone, halved.
    stream = Make(MainDisplay(), 200, 100, Rect{double(client.x), double(client.y), 400, 200});
    ASSERT_TRUE(stream && stream->Start());
    const int frame = WaitForPixels(0, {{0, 0, 0x0000FF}, {100, 50, 0x0000FF}, {199, 99, 0x0000FF}});
    ASSERT_GE(frame, 0);
    EXPECT_EQ(recorder.Deliveries()[size_t(frame)].surface->width(), 200u);
}

TEST_F(DisplayStreamTest, ARegionPartlyOffTheScreenStillDeliversWithBlackBeyondTheEdge) {
    const Window corner = desktop->Open(TestDesktop::Titled("Corner"), 0xFFFF00, 1700, 860, 400, 400);
    ASSERT_NE(corner, None);
    ASSERT_LT(desktop->ClientArea(corner).x, 1870);
    ASSERT_LT(desktop->ClientArea(corner).y, 1030);
    // (1820, 980) to (2020, 1180): only the top-left 100 x 100 is on the screen.
    stream = Make(MainDisplay(), 200, 200, Rect{1820, 980, 200, 200});
    ASSERT_TRUE(stream && stream->Start());
    const int frame = WaitForPixels(0, {{0, 0, 0xFFFF00}, {99, 99, 0xFFFF00}});
    ASSERT_GE(frame, 0);
    const auto delivery = recorder.Deliveries()[size_t(frame)];
    EXPECT_EQ(FramePixel(delivery, 100, 50), Opaque(0x000000));
    EXPECT_EQ(FramePixel(delivery, 50, 100), Opaque(0x000000));
    EXPECT_EQ(FramePixel(delivery, 199, 199), Opaque(0x000000));
}

TEST_F(DisplayStreamTest, StopIsAnsweredByStoppedAndARestartDeliversAgain) {
    stream = Make(MainDisplay(), 640, 360);
    ASSERT_TRUE(stream && stream->Start());
    EXPECT_TRUE(stream->Start()); // already running
    ASSERT_GE(recorder.WaitFor(0, FrameStatus::Complete), 0);
    ASSERT_TRUE(stream->Stop());
    EXPECT_FALSE(stream->Stop());
    std::vector<StreamRecorder::Delivery> deliveries = recorder.Deliveries();
    ASSERT_FALSE(deliveries.empty());
    EXPECT_EQ(deliveries.back().status, FrameStatus::Stopped);
    const size_t stopped = deliveries.size();

    ASSERT_TRUE(stream->Start());
    const int again = recorder.WaitFor(stopped, FrameStatus::Complete);
    ASSERT_GE(again, 0);
    ASSERT_TRUE(stream->Stop());
    deliveries = recorder.Deliveries();
    EXPECT_EQ(deliveries.back().status, FrameStatus::Stopped);
    EXPECT_EQ(std::count_if(deliveries.begin(), deliveries.end(),
                            [](const auto& d) { return d.status == FrameStatus::Stopped; }),
              2);
}

TEST_F(DisplayStreamTest, AMonitorThatGoesAwayEndsTheRunWithStopped) {
    XRRMonitorInfo* monitor = XRRAllocateMonitor(desktop->display(), 0);
    monitor->name = XInternAtom(desktop->display(), "SIDE", False);
    monitor->x = 0;
    monitor->y = 0;
    monitor->width = 800;
    monitor->height = 600;
    XRRSetMonitor(desktop->display(), desktop->root(), monitor);
    XRRFreeMonitors(monitor);
    XSync(desktop->display(), False);
    sideAdded = true;

    const uint32_t side = uint32_t(XInternAtom(desktop->display(), "SIDE", False));
    stream = Make(side, 800, 600);
    ASSERT_TRUE(stream && stream->Start());
    ASSERT_GE(recorder.WaitFor(0, FrameStatus::Complete), 0);
    XRRDeleteMonitor(desktop->display(), desktop->root(), side);
    XSync(desktop->display(), False);
    sideAdded = false;
    ASSERT_GE(recorder.WaitFor(0, FrameStatus::Stopped), 0);
    EXPECT_FALSE(stream->Stop());  // the run has ended already
    EXPECT_FALSE(stream->Start()); // and cannot start while the monitor is gone
}

TEST_F(DisplayStreamTest, NoStreamForADisplayThatIsNotAttached) { EXPECT_FALSE(Make(0x7FFF, 640, 480)); }
