#include "CpuCompositor.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace qcp::platform;

namespace {
SurfaceRef MakeSurface(uint32_t width, uint32_t height) {
    return SurfaceRef::Adopt(Surface::Create(SurfaceProperties::Packed(width, height)));
}

uint32_t PixelAt(const Surface& surface, uint32_t x, uint32_t y) {
    SurfaceLock lock(surface);
    uint32_t value;
    std::memcpy(&value, surface.baseAddress() + y * surface.bytesPerRow() + x * 4, 4);
    return value;
}

ImageRef Solid(uint32_t width, uint32_t height, uint32_t bgra, ImageAlpha alpha = ImageAlpha::Premultiplied) {
    std::vector<uint8_t> pixels(size_t(width) * height * 4);
    for (size_t i = 0; i < pixels.size(); i += 4) std::memcpy(&pixels[i], &bgra, 4);
    return std::make_shared<Image>(width, height, width * 4, std::move(pixels), alpha);
}
} // namespace

TEST(CpuCompositor, BlendsPremultipliedSourceOver) {
    SurfaceRef target = MakeSurface(2, 1);
    CpuCompositor().drawImage(*target, *Solid(2, 1, 0xFF0000FF), {0, 0, 2, 1}); // opaque blue: B=255
    // Half-transparent premultiplied red: R=128, A=128.
    CpuCompositor().drawImage(*target, *Solid(1, 1, 0x80800000), {0, 0, 1, 1});
    // s + d * (1 - sa): B = 255 * 127/255 = 127, R = 128, A = 128 + 255 * 127/255 = 255.
    EXPECT_EQ(PixelAt(*target, 0, 0), 0xFF80007Fu);
    EXPECT_EQ(PixelAt(*target, 1, 0), 0xFF0000FFu);
    // A fully transparent picture changes nothing.
    CpuCompositor().drawImage(*target, *Solid(1, 1, 0), {0, 0, 2, 1});
    EXPECT_EQ(PixelAt(*target, 1, 0), 0xFF0000FFu);
}

TEST(CpuCompositor, APictureWithoutAlphaReplacesWhatIsUnderItScaledOrNot) {
    SurfaceRef target = MakeSurface(4, 2);
    CpuCompositor().drawImage(*target, *Solid(4, 2, 0xFF0000FF), {0, 0, 4, 2});
    // Green with its fourth byte left zero, as an X server leaves padding;
    // read as premultiplied it would be drawn as light added to the blue.
    const ImageRef padded = Solid(2, 1, 0x0000FF00, ImageAlpha::Padding);
    CpuCompositor().drawImage(*target, *padded, {0, 0, 2, 1});
    CpuCompositor().drawImage(*target, *padded, {1, 1, 3, 1}); // scaled
    EXPECT_EQ(PixelAt(*target, 0, 0), 0xFF00FF00u);
    EXPECT_EQ(PixelAt(*target, 1, 0), 0xFF00FF00u);
    EXPECT_EQ(PixelAt(*target, 2, 0), 0xFF0000FFu);
    EXPECT_EQ(PixelAt(*target, 0, 1), 0xFF0000FFu);
    EXPECT_EQ(PixelAt(*target, 3, 1), 0xFF00FF00u);
}

TEST(CpuCompositor, ScalesIntoTheRectangleAndClipsAtTheEdges) {
    SurfaceRef target = MakeSurface(4, 4);
    // A 2 x 2 picture: left column red, right column green.
    std::vector<uint8_t> pixels(16);
    const uint32_t red = 0xFFFF0000, green = 0xFF00FF00;
    for (int y = 0; y < 2; ++y) {
        std::memcpy(&pixels[y * 8], &red, 4);
        std::memcpy(&pixels[y * 8 + 4], &green, 4);
    }
    const Image image(2, 2, 8, pixels);
    // Twice its size, hanging off the left edge by one pixel.
    CpuCompositor().drawImage(*target, image, {-1, 0, 4, 4});
    EXPECT_EQ(PixelAt(*target, 0, 0), red);
    EXPECT_EQ(PixelAt(*target, 1, 3), green);
    EXPECT_EQ(PixelAt(*target, 2, 2), green);
    EXPECT_EQ(PixelAt(*target, 3, 0), 0u); // outside the rectangle

    // Wholly outside the target, or empty: nothing drawn.
    SurfaceRef untouched = MakeSurface(2, 2);
    const ImageRef white = Solid(1, 1, 0xFFFFFFFF);
    for (const Rect& where : {Rect{2, 0, 5, 5}, Rect{0, -5, 2, 5}, Rect{0, 0, 0, 2}})
        CpuCompositor().drawImage(*untouched, *white, where);
    for (uint32_t y = 0; y < 2; ++y)
        for (uint32_t x = 0; x < 2; ++x) EXPECT_EQ(PixelAt(*untouched, x, y), 0u);
}

TEST(CpuCompositor, AnAreaIsCopiedToTheSamePlaceAndWhatLiesOutsideIsLeftOut) {
    const SurfaceRef source = MakeSurface(4, 3), target = MakeSurface(4, 3);
    std::memset(source->baseAddress(), 0x11, source->allocSize());
    std::memset(target->baseAddress(), 0x22, target->allocSize());
    CpuCompositor().copyArea(*source, *target, {2, 1, 5, 5}); // runs off the right and bottom
    for (uint32_t y = 0; y < 3; ++y)
        for (uint32_t x = 0; x < 4; ++x)
            EXPECT_EQ(PixelAt(*target, x, y), x >= 2 && y >= 1 ? 0x11111111u : 0x22222222u) << x << ", " << y;
    CpuCompositor().copyArea(*source, *target, {-3, -3, 2, 2}); // wholly outside
    EXPECT_EQ(PixelAt(*target, 0, 0), 0x22222222u);
}
