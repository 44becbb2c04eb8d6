#include <gtest/gtest.h>

#include <X11/Xlib.h>

#include <algorithm>
#include <cstring>
#include <mutex>
#include <optional>

#include "ManualClock.h"
#include "RectanglePainter.h"
#include "StreamRecorder.h"
#include "TestDesktop.h"
#include "zSignal.h"

using namespace qcp::platform;

namespace {

class DisplayStreamTest : public LinuxDesktopTest {
protected:
    void TearDown() override { stream.reset(); }

    std::unique_ptr<DisplayStream> Make(uint32_t width, uint32_t height, std::optional<Rect> sourceRect = {},
                                        uint32_t display = 0, FrameHandler handler = {}) {
        DisplayStreamConfig config;
        config.displayID = display ? display : platform->screens().list().at(0).displayID;
        config.outputWidth = width;
        config.outputHeight = height;
        config.sourceRect = sourceRect;
        config.queue = &recorder.queue();
        config.handler = handler ? std::move(handler) : recorder.Handler();
        return platform->createDisplayStream(std::move(config));
    }

    static Pixel FramePixel(const StreamRecorder::Delivery& delivery, int x, int y) {
        SurfaceLock lock(*delivery.surface);
        return PixelAt(delivery.surface->baseAddress(), delivery.surface->bytesPerRow(), x, y);
    }

    // The index of the first Complete frame from `from` on whose pixels at
    // (x, y) are the colours expected; -1 when none comes.
    struct Expected {
        int x, y;
        uint32_t rgb;
    };
    int WaitForPixels(size_t from, const std::vector<Expected>& expected) {
        return recorder.WaitFor(from, [&](const StreamRecorder::Delivery& d) {
            return d.status == FrameStatus::Complete &&
                   std::all_of(expected.begin(), expected.end(),
                               [&](const Expected& e) { return FramePixel(d, e.x, e.y) == Opaque(e.rgb); });
        });
    }

    StreamRecorder recorder;
    std::unique_ptr<DisplayStream> stream;
};

} // namespace

TEST_F(DisplayStreamTest, DeliversTheScreenIdlesUntilSomethingChangesAndAnswersStopWithStopped) {
    EXPECT_FALSE(Make(640, 480, {}, 0x7FFF)); // no such display
    const Window window = desktop->Open({"Watched"}, 0xFF0000, 200, 200, 300, 200);
    ASSERT_NE(window, None);
    const TestDesktop::Area client = desktop->ClientArea(window);
    const int cx = client.x + client.width / 2, cy = client.y + client.height / 2;
    stream = Make(1920, 1080);
    ASSERT_TRUE(stream && stream->Start());

    const int first = WaitForPixels(0, {{cx, cy, 0xFF0000}});
    ASSERT_GE(first, 0);
    const auto frame = recorder.Deliveries()[size_t(first)];
    EXPECT_TRUE(frame.onQueue);
    EXPECT_EQ(frame.surface->width(), 1920u);
    EXPECT_EQ(frame.surface->height(), 1080u);
    EXPECT_EQ(frame.surface->pixelFormat(), kPixelFormatBGRA);
    EXPECT_EQ(FramePixel(frame, 1919, 1079).a, 255); // the screen's undefined byte made opaque
    EXPECT_EQ(std::vector<Rect>(frame.dirty.begin(), frame.dirty.end()), (std::vector<Rect>{{0, 0, 1920, 1080}}));

    const int idle = recorder.WaitFor(size_t(first) + 1, FrameStatus::Idle);
    ASSERT_GE(idle, 0);
    desktop->Paint(window, 0x00FF00);
    const int changed = WaitForPixels(size_t(idle) + 1, {{cx, cy, 0x00FF00}});
    ASSERT_GE(changed, 0);
    // It names the window as changed, and little else.
    const DirtyRects dirty = recorder.Deliveries()[size_t(changed)].dirty;
    double dirtyArea = 0;
    for (const Rect& r : dirty) dirtyArea += r.width * r.height;
    EXPECT_TRUE(std::any_of(dirty.begin(), dirty.end(), [&](const Rect& r) {
        return r.x <= client.x && r.y <= client.y && client.x + client.width <= r.MaxX() &&
               client.y + client.height <= r.MaxY();
    }));
    EXPECT_LE(dirtyArea, 2.0 * client.width * client.height);
    // The frame delivered before is untouched by the capture of the next one.
    EXPECT_EQ(FramePixel(frame, cx, cy), Opaque(0xFF0000));

    ASSERT_TRUE(stream->Stop());
    EXPECT_FALSE(stream->Stop());
    const auto deliveries = recorder.Deliveries();
    EXPECT_EQ(deliveries.back().status, FrameStatus::Stopped);
    // Idle comes once per quiet spell, never twice without a frame between.
    for (size_t i = 1; i < deliveries.size(); ++i)
        EXPECT_FALSE(deliveries[i].status == FrameStatus::Idle && deliveries[i - 1].status == FrameStatus::Idle);
}

TEST_F(DisplayStreamTest, ARegionPartlyOffTheScreenStillDeliversWithBlackBeyondTheEdge) {
    const Window corner = desktop->Open({"Corner"}, 0xFFFF00, 1700, 860, 400, 400);
    ASSERT_NE(corner, None);
    const TestDesktop::Area client = desktop->ClientArea(corner);
    ASSERT_LT(client.x, 1820);
    ASSERT_LT(client.y, 980);
    // (1820, 980) to (2020, 1180): only the top-left 100 x 100 is on the
    // screen. The window manager may have kept the window's frame on the
    // screen, its border then along the screen's edge: the frame must show
    // what the screen shows there, whatever that is.
    stream = Make(200, 200, Rect{1820, 980, 200, 200});
    ASSERT_TRUE(stream && stream->Start());
    const int frame = WaitForPixels(0, {{0, 0, 0xFFFF00}, {50, 50, 0xFFFF00}});
    ASSERT_GE(frame, 0) << "client at " << client.x << ", " << client.y << ", " << client.width << " x "
                        << client.height << "; " << recorder.Deliveries().size() << " deliveries";
    const auto delivery = recorder.Deliveries()[size_t(frame)];
    EXPECT_EQ(FramePixel(delivery, 99, 99), RootPixel(desktop->display(), 1919, 1079));
    EXPECT_EQ(FramePixel(delivery, 100, 50), Opaque(0x000000));
    EXPECT_EQ(FramePixel(delivery, 50, 100), Opaque(0x000000));
}

TEST_F(DisplayStreamTest, ACopyUpdatedOnlyWhereFramesSayTheyChangedStaysEqualToEveryFrame) {
    // Small rectangles painted a few thousand a second, from a connection of
    // their own, while frames are read: a change made just after a frame's
    // read must be named by the next frame, not this one. (Not faster: each
    // is a report the stream reads, and a flood outruns it under the
    // sanitizers.)
    // An 800 x 600 part, read pixel for pixel: the check is a full
    // comparison per frame, slow under the sanitizers.
    constexpr int kWidth = 800, kHeight = 600;
    const Window canvas = desktop->Open({"Canvas"}, 0x000000, 0, 0, kWidth, kHeight);
    ASSERT_NE(canvas, None);
    std::optional<RectanglePainter> painter(std::in_place, session->display(), canvas, kWidth, kHeight,
                                            RectanglePainter::Options{});

    std::mutex mutex;
    std::vector<uint8_t> copy;
    int frames = 0, partial = 0, differing = 0;
    DisplayStreamConfig config;
    config.displayID = platform->screens().list().at(0).displayID;
    config.outputWidth = kWidth;
    config.outputHeight = kHeight;
    config.sourceRect = Rect{0, 0, kWidth, kHeight};
    config.queue = &recorder.queue();
    config.handler = [&](FrameStatus status, uint64_t, Surface* surface, const DirtyRects& dirty) {
        if (status != FrameStatus::Complete) return;
        SurfaceLock lock(*surface);
        const uint8_t* pixels = surface->baseAddress();
        const size_t stride = surface->bytesPerRow();
        std::lock_guard guard(mutex);
        copy.resize(stride * surface->height());
        for (const Rect& r : dirty)
            for (int y = int(r.y); y < int(r.MaxY()); ++y)
                std::memcpy(copy.data() + size_t(y) * stride + size_t(r.x) * 4, pixels + size_t(y) * stride +
                            size_t(r.x) * 4, size_t(r.width) * 4);
        ++frames;
        partial += dirty.size() != 1 || dirty.begin()->width * dirty.begin()->height < double(kWidth) * kHeight;
        differing += std::memcmp(copy.data(), pixels, copy.size()) != 0;
    };
    stream = platform->createDisplayStream(std::move(config));
    ASSERT_TRUE(stream && stream->Start());
    const bool enough = TestDesktop::WaitUntil(
        [&] {
            std::lock_guard guard(mutex);
            return frames >= 60;
        },
        std::chrono::seconds(30));
    painter.reset();
    stream.reset();
    ASSERT_TRUE(enough) << frames << " frames";
    EXPECT_GT(partial, frames / 2);
    EXPECT_EQ(differing, 0) << "of " << frames << " frames";
}

TEST_F(DisplayStreamTest, TheHandlerMayStopRestartAndDestroyTheStream) {
    ManualClock clock; // frames come only when the test moves the clock, but for each run's first
    std::vector<FrameStatus> seen;
    std::vector<DirtyRects> dirt;
    zSignal destroyed;
    const FrameHandler record = recorder.Handler();
    const auto handler = [&](FrameStatus status, uint64_t time, Surface* surface, const DirtyRects& dirty) {
        record(status, time, surface, dirty);
        seen.push_back(status);
        dirt.push_back(dirty);
        if (status == FrameStatus::Stopped) {
            EXPECT_TRUE(stream->Start());
        } else if (status == FrameStatus::Complete && seen.size() == 1) {
            EXPECT_TRUE(stream->Stop());
            EXPECT_FALSE(stream->Stop());
        } else if (status == FrameStatus::Complete) {
            stream.reset(); // the call in progress is the last
            destroyed.Raise();
        }
    };
    stream = Make(320, 200, Rect{0, 0, 640, 400}, 0, handler);
    ASSERT_TRUE(stream && stream->Start());
    ASSERT_EQ(destroyed.Wait(30'000'000), zSignal::WaitResult::Signalled);
    // No tick of the stream is left to come due.
    clock.Advance(10'000'000);
    zSignal drained;
    recorder.queue().After(0, [&] { drained.Raise(); });
    ASSERT_EQ(drained.Wait(30'000'000), zSignal::WaitResult::Signalled);
    recorder.queue().Sync([] {});
    EXPECT_EQ(seen, (std::vector<FrameStatus>{FrameStatus::Complete, FrameStatus::Stopped, FrameStatus::Complete}));
    ASSERT_EQ(dirt.size(), 3u);
    // The restarted run's first frame is whole again.
    EXPECT_EQ(std::vector<Rect>(dirt[2].begin(), dirt[2].end()), (std::vector<Rect>{{0, 0, 320, 200}}));
}
