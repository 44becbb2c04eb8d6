// Cursor compositing with exact pixels.
#include <cstring>

#include "ManualClock.h"
#include "WaitFor.h"

#include "CaptureFixture.h"
#include "Platform.h"

using namespace qcp::platform;
using namespace std::chrono_literals;

namespace {
constexpr uint32_t kCursorColour = 0xFF00FF00; // opaque green, B G R A = 00 FF 00 FF

SurfaceRef BlankSurface(uint32_t width, uint32_t height) {
    return SurfaceRef::Adopt(Surface::Create(SurfaceProperties::Packed(width, height)));
}

uint32_t PixelAt(const Surface& surface, uint32_t x, uint32_t y) {
    uint32_t pixel;
    std::memcpy(&pixel, surface.baseAddress() + size_t(y) * surface.bytesPerRow() + x * 4, 4);
    return pixel;
}

class CompositingTest : public CaptureTest {
protected:
    void SetUp() override {
        CaptureTest::SetUp();
        // A 4 x 4 point cursor with its hot spot at its corner.
        std::vector<uint8_t> pixels(4 * 4 * 4);
        for (size_t i = 0; i < 16; ++i) std::memcpy(&pixels[i * 4], &kCursorColour, 4);
        world().SetCursorImage({std::make_shared<Image>(4, 4, 16, std::move(pixels)), 4, 4, {0, 0}});
        source = std::make_unique<MC::MacCaptureSource>("s", "name");
        source->setCaptureFrame(0, 0, 1920, 1080);
        source->setCaptureDisplay(kDisplay);
    }
    void TearDown() override {
        source.reset();
        CaptureTest::TearDown();
    }
    std::unique_ptr<MC::MacCaptureSource> source;
};
} // namespace

TEST_F(CompositingTest, CursorLandsWhereTheGeometrySays) {
    // Mouse at (100, 200) from the top-left: y up that is 880. The cursor's
    // top edge lands at 200 - 0 + half its height - its height = 198.
    world().SetMouse({100, 880});
    SurfaceRef frame = BlankSurface(1920, 1080);
    SurfaceRef out = source->copy_iosurface_and_render_mouse(frame.get(), {});
    ASSERT_TRUE(out);
    EXPECT_EQ(PixelAt(*out, 100, 198), kCursorColour);
    EXPECT_EQ(PixelAt(*out, 103, 201), kCursorColour);
    EXPECT_EQ(PixelAt(*out, 99, 198), 0u);
    EXPECT_EQ(PixelAt(*out, 100, 202), 0u);
    EXPECT_EQ(PixelAt(*out, 104, 198), 0u);
}

TEST_F(CompositingTest, OnADoubleScaleDisplayTheOffsetIsNotScaled) {
    world().SetBackingScale(kDisplay, 2.0);
    world().SetMouse({100, 880});
    SurfaceRef frame = BlankSurface(3840, 2160);
    SurfaceRef out = source->copy_iosurface_and_render_mouse(frame.get(), {});
    ASSERT_TRUE(out);
    // Half the offset in a frame twice as large: bottom-up from 2160.
    const uint32_t top = 2160 - 878 - 4;
    EXPECT_EQ(PixelAt(*out, 100, top), kCursorColour);
    EXPECT_EQ(PixelAt(*out, 200, 2 * 198), 0u);
}

TEST_F(CompositingTest, MouseOutsideTheFrameLeavesItUnchanged) {
    world().SetMouse({5000, 5000});
    SurfaceRef frame = BlankSurface(1920, 1080);
    std::memset(frame->baseAddress(), 0x7F, frame->allocSize());
    SurfaceRef out = source->copy_iosurface_and_render_mouse(frame.get(), {});
    ASSERT_TRUE(out);
    EXPECT_EQ(std::memcmp(out->baseAddress(), frame->baseAddress(), frame->allocSize()), 0);
}

TEST_F(CompositingTest, OutputIsReusedUntilTheSourceSizeChanges) {
    SurfaceRef frame = BlankSurface(1920, 1080);
    SurfaceRef first = source->copy_iosurface_and_render_mouse(frame.get(), {});
    Surface* kept = first.get();
    SurfaceRef second = source->copy_iosurface_and_render_mouse(frame.get(), std::move(first));
    EXPECT_EQ(second.get(), kept);
    SurfaceRef smaller = BlankSurface(1280, 720);
    SurfaceRef third = source->copy_iosurface_and_render_mouse(smaller.get(), std::move(second));
    ASSERT_TRUE(third);
    EXPECT_NE(third.get(), kept);
    EXPECT_EQ(third->width(), 1280u);
    EXPECT_FALSE(source->copy_iosurface_and_render_mouse(nullptr, {}));
}

// Over both kinds of stream: one that lends its frames (the cursor is drawn
// into them, what it covers kept aside) and one that keeps them (a copy).
class RenderLoopTest : public CompositingTest, public testing::WithParamInterface<bool> {
protected:
    // Starts the capture with the cursor on and the mouse off the display.
    void Start() {
        world().SetStreamsLendFrames(GetParam());
        observer.keepPixels = true;
        source->setShowCursor(true);
        source->registerObserver(&observer);
        world().SetMouse({5000, 5000}); // off the display: the first passes draw no cursor
        ASSERT_TRUE(source->start());
        ASSERT_TRUE(FirstStreamFrame(clock));
        ASSERT_TRUE(WaitFor([&] { return !observer.Frames().empty(); }, 10s));
    }
    // The next frame the observer gets: the clock moved on until one came.
    SeenFrame Pass() {
        const size_t seen = observer.Frames().size();
        for (int step = 0; step < 100 && observer.Frames().size() == seen; ++step) {
            clock.Advance(MC::MacCaptureSource::kRenderIntervalMicros / 4);
            WaitFor([&] { return observer.Frames().size() > seen; }, 50ms);
        }
        EXPECT_GT(observer.Frames().size(), seen);
        return observer.Frames().back();
    }
    static uint32_t Pixel(const SeenFrame& frame, uint32_t x, uint32_t y) {
        uint32_t value;
        std::memcpy(&value, frame.pixels.data() + (size_t(y) * 1920 + x) * 4, 4);
        return value;
    }
    // The pixels where `frame` differs from `clean`, outside the cursor at (x, y).
    static size_t Differing(const SeenFrame& frame, const SeenFrame& clean, uint32_t x, uint32_t y) {
        size_t count = 0;
        for (uint32_t row = 0; row < 1080; ++row)
            for (uint32_t column = 0; column < 1920; ++column)
                if (!(column >= x && column < x + 4 && row >= y && row < y + 4))
                    count += Pixel(frame, column, row) != Pixel(clean, column, row);
        return count;
    }

    ManualClock clock; // the render loop and the stream both follow it
    RecordingObserver observer;
};
INSTANTIATE_TEST_SUITE_P(, RenderLoopTest, testing::Bool(),
                         [](const auto& info) { return info.param ? "LentFrames" : "KeptFrames"; });

TEST_P(RenderLoopTest, TheCursorMovesOverStillAndChangedFramesAndNoPixelStaysBehind) {
    world().AddProcess(4321, "App");
    const uint32_t window = world().OpenWindow(4321, "W", {1200, 100, 300, 200});
    Start();
    const SeenFrame clean = Pass();

    world().SetMouse({100, 880}); // the cursor's top-left at (100, 198), as above
    const SeenFrame first = Pass();
    EXPECT_EQ(Pixel(first, 101, 199), kCursorColour);
    world().SetMouse({300, 580}); // now at (300, 498)
    const SeenFrame second = Pass();
    EXPECT_EQ(Pixel(second, 301, 499), kCursorColour);
    EXPECT_EQ(Differing(second, clean, 300, 498), 0u) << "the frame as captured but for the cursor";

    // A new frame, the window now over the old cursor, and the cursor moved
    // again; then the cursor off the display shows that frame as captured.
    world().MoveWindow(window, 250, 450);
    world().SetMouse({500, 280}); // now at (500, 798)
    SeenFrame third = Pass();
    for (int step = 0; step < 100 && Pixel(third, 301, 499) == Pixel(clean, 301, 499); ++step) third = Pass();
    ASSERT_NE(Pixel(third, 301, 499), Pixel(clean, 301, 499)) << "the window's colour";
    EXPECT_EQ(Pixel(third, 501, 799), kCursorColour);
    world().SetMouse({5000, 5000});
    const SeenFrame changedClean = Pass();
    EXPECT_EQ(Differing(third, changedClean, 500, 798), 0u) << "nothing of the old frame or cursors";
    source->stop();
}

TEST_P(RenderLoopTest, TurnedOffMidRunTheCursorLeavesTheFrameOnScreenAndNoMoreComposedFramesCome) {
    Start();
    const SeenFrame clean = Pass();
    world().SetMouse({100, 880}); // the cursor's top-left at (100, 198)
    ASSERT_EQ(Pixel(Pass(), 101, 199), kCursorColour);

    source->setShowCursor(false);
    const SeenFrame off = Pass();
    EXPECT_EQ(Differing(off, clean, 0, 0), 0u) << "the frame on screen, its cursor gone";
    // A still screen: the stream sends nothing, and neither does the loop.
    const size_t count = observer.Frames().size();
    for (int step = 0; step < 8; ++step) clock.Advance(MC::MacCaptureSource::kRenderIntervalMicros / 2);
    EXPECT_FALSE(WaitFor([&] { return observer.Frames().size() > count; }, 200ms));

    source->setShowCursor(true);
    world().SetMouse({300, 580}); // now at (300, 498)
    const SeenFrame on = Pass();
    EXPECT_EQ(Pixel(on, 301, 499), kCursorColour);
    EXPECT_EQ(Differing(on, clean, 300, 498), 0u);
    source->stop();
}
