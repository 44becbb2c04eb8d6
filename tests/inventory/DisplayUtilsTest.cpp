// Copying a picture into a surface, reusing the caller's when it fits.
#include <cstring>

#include "InventoryFixture.h"
#include "MacCaptureDisplayUtils.h"

using qcp::platform::Image;
using qcp::platform::SurfaceRef;

namespace {

// An opaque picture whose every byte differs from its neighbours', with
// `padding` unused bytes at the end of each row.
Image Picture(uint32_t width, uint32_t height, uint32_t padding, uint8_t seed) {
    const uint32_t bytesPerRow = width * 4 + padding;
    std::vector<uint8_t> pixels(size_t(bytesPerRow) * height, 0);
    for (uint32_t y = 0; y < height; ++y)
        for (uint32_t x = 0; x < width; ++x) {
            uint8_t* pixel = &pixels[size_t(y) * bytesPerRow + x * 4];
            for (int c = 0; c < 3; ++c) pixel[c] = uint8_t(seed + y * 31 + x * 7 + c);
            pixel[3] = 255;
        }
    return Image(width, height, bytesPerRow, std::move(pixels));
}

bool Holds(const qcp::platform::Surface& surface, const Image& image) {
    surface.Lock();
    bool same = true;
    for (uint32_t y = 0; y < image.height() && same; ++y)
        same = std::memcmp(surface.baseAddress() + size_t(y) * surface.bytesPerRow(), image.row(y),
                           size_t(image.width()) * 4) == 0;
    surface.Unlock();
    return same;
}

} // namespace

TEST_F(InventoryTest, CopyReusesOnlyASurfaceOfTheSameShape) {
    const SurfaceRef first = MC::copyCGImageRefToIOSurface(Picture(5, 3, 12, 1), {});
    ASSERT_TRUE(first);
    EXPECT_EQ(first->bytesPerRow(), 32u);
    EXPECT_EQ(first->pixelFormat(), 32u); // k32ARGBPixelFormat, B G R A in memory
    EXPECT_EQ(first->RetainCount(), 1);
    EXPECT_FALSE(MC::copyCGImageRefToIOSurface(Image(0, 3, 0, {}), {}));

    const Image same = Picture(5, 3, 12, 90);
    const SurfaceRef reused = MC::copyCGImageRefToIOSurface(same, first);
    EXPECT_EQ(reused.get(), first.get());
    EXPECT_TRUE(Holds(*first, same));

    // Same width and height but a different row length, then a different
    // height: new surfaces, the passed one left as it was.
    for (const Image& other : {Picture(5, 3, 0, 40), Picture(5, 4, 12, 40)}) {
        const SurfaceRef made = MC::copyCGImageRefToIOSurface(other, first);
        ASSERT_TRUE(made);
        EXPECT_NE(made.get(), first.get());
        EXPECT_EQ(made->bytesPerRow(), other.bytesPerRow());
        EXPECT_TRUE(Holds(*made, other));
        EXPECT_TRUE(Holds(*first, same));
        EXPECT_EQ(first->RetainCount(), 2); // `first` and `reused`
    }
}
