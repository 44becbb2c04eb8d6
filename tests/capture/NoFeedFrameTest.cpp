// The no-feed picture as observers receive it: one colour, with an optional
// line of text centred in it.
#include <cstring>

#include "CaptureFixture.h"

namespace {

// The no-feed frame the observer receives next, with its pixels.
SeenFrame NextNoFeedFrame(MC::MacCaptureSource& source) {
    RecordingObserver observer;
    observer.keepPixels = true;
    source.registerObserver(&observer);
    const std::vector<SeenFrame> frames = observer.WaitFor(1);
    source.removeObserver(&observer);
    return frames.empty() ? SeenFrame{} : frames[0];
}

uint32_t Pixel(const SeenFrame& frame, int x, int y) {
    uint32_t pixel;
    std::memcpy(&pixel, frame.pixels.data() + (size_t(y) * 1280 + size_t(x)) * 4, 4);
    return pixel;
}

size_t CountOf(const SeenFrame& frame, uint32_t pixel) {
    size_t count = 0;
    for (int y = 0; y < 720; ++y)
        for (int x = 0; x < 1280; ++x) count += Pixel(frame, x, y) == pixel;
    return count;
}

} // namespace

TEST_F(CaptureTest, NoFeedPictureIsOneColourWithAnOptionalCentredMessage) {
    MC::MacCaptureSource source("s", "name");
    SeenFrame transparent = NextNoFeedFrame(source);
    ASSERT_EQ(transparent.pixels.size(), 1280u * 720 * 4);
    EXPECT_EQ(CountOf(transparent, 0), 1280u * 720) << "the default picture is empty and transparent";

    // Half-transparent red, premultiplied: B 0, G 0, R 128, A 128.
    source.SetNoFeedFrameType(zColor{255, 0, 0, 128}, zColor{}, "");
    const uint32_t red = 0x80800000u;
    EXPECT_EQ(CountOf(NextNoFeedFrame(source), red), 1280u * 720) << "an empty message: a plain coloured frame";

    source.SetNoFeedFrameType(zColor{0, 0, 255, 255}, zColor{255, 255, 255, 255}, "No video");
    const SeenFrame message = NextNoFeedFrame(source);
    const uint32_t blue = 0xFF0000FFu;
    EXPECT_EQ(Pixel(message, 0, 0), blue);
    EXPECT_EQ(Pixel(message, 1279, 719), blue);
    EXPECT_LT(CountOf(message, blue), 1280u * 720) << "the text is drawn";
    size_t left = 0, right = 0; // the text stands centred
    for (int y = 0; y < 720; ++y)
        for (int x = 0; x < 1280; ++x)
            if (Pixel(message, x, y) != blue) (x < 640 ? left : right)++;
    EXPECT_GT(left, 0u);
    EXPECT_GT(right, 0u);
}
