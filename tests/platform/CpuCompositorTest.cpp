#include "CpuCompositor.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace qcp::platform;

namespace {
SurfaceRef MakeSurface(uint32_t width, uint32_t height, uint32_t bytesPerRow = 0) {
    SurfaceProperties properties;
    properties.width = width;
    properties.height = height;
    properties.bytesPerRow = bytesPerRow ? bytesPerRow : width * 4;
    properties.allocSize = size_t(properties.bytesPerRow) * height;
    return SurfaceRef::Adopt(Surface::Create(properties));
}

// Every word of every row, padding included.
void FillSurface(Surface& surface, uint32_t bgra) {
    SurfaceLock lock(surface);
    for (uint32_t y = 0; y < surface.height(); ++y)
        for (uint32_t x = 0; x < surface.bytesPerRow() / 4; ++x)
            std::memcpy(surface.baseAddress() + y * surface.bytesPerRow() + x * 4, &bgra, 4);
}

uint32_t PixelAt(const Surface& surface, uint32_t x, uint32_t y) {
    SurfaceLock lock(surface);
    uint32_t value;
    std::memcpy(&value, surface.baseAddress() + y * surface.bytesPerRow() + x * 4, 4);
    return value;
}

ImageRef Solid(uint32_t width, uint32_t height, uint32_t bgra) {
    std::vector<uint8_t> pixels(size_t(width) * height * 4);
    for (size_t i = 0; i < pixels.size(); i += 4) std::memcpy(&pixels[i], &bgra, 4);
    return std::make_shared<Image>(width, height, width * 4, std::move(pixels));
}
} // namespace

TEST(CpuCompositor, CopiesBetweenSurfacesWithDifferentRowLengths) {
    SurfaceRef source = MakeSurface(3, 2, 16);
    SurfaceRef target = MakeSurface(3, 2, 32);
    {
        SurfaceLock lock(*source);
        for (uint32_t y = 0; y < 2; ++y)
            for (uint32_t x = 0; x < 3; ++x) {
                const uint32_t value = 0xFF000000u | (y << 8) | x;
                std::memcpy(source->baseAddress() + y * 16 + x * 4, &value, 4);
            }
    }
    FillSurface(*target, 0x12345678);
    CpuCompositor().copySurface(*source, *target);
    for (uint32_t y = 0; y < 2; ++y)
        for (uint32_t x = 0; x < 3; ++x) EXPECT_EQ(PixelAt(*target, x, y), 0xFF000000u | (y << 8) | x);
    // Padding beyond the row's pixels is left alone.
    SurfaceLock lock(*target);
    uint32_t padding;
    std::memcpy(&padding, target->baseAddress() + 12, 4);
    EXPECT_EQ(padding, 0x12345678u);
}

TEST(CpuCompositor, BlendsPremultipliedSourceOver) {
    SurfaceRef target = MakeSurface(2, 1);
    FillSurface(*target, 0xFF0000FF); // opaque blue: B=255
    // Half-transparent premultiplied red: R=128, A=128.
    CpuCompositor().drawImage(*target, *Solid(1, 1, 0x80800000), {0, 0, 1, 1});
    // s + d * (1 - sa): B = 255 * 127/255 = 127, R = 128, A = 128 + 255 * 127/255 = 255.
    EXPECT_EQ(PixelAt(*target, 0, 0), 0xFF80007Fu);
    EXPECT_EQ(PixelAt(*target, 1, 0), 0xFF0000FFu);
    // A fully transparent picture changes nothing.
    CpuCompositor().drawImage(*target, *Solid(1, 1, 0), {0, 0, 2, 1});
    EXPECT_EQ(PixelAt(*target, 1, 0), 0xFF0000FFu);
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
}

TEST(CpuCompositor, DrawsNothingOutsideTheTargetOrForEmptyRectangles) {
    SurfaceRef target = MakeSurface(2, 2);
    const ImageRef white = Solid(1, 1, 0xFFFFFFFF);
    CpuCompositor().drawImage(*target, *white, {2, 0, 5, 5});
    CpuCompositor().drawImage(*target, *white, {0, -5, 2, 5});
    CpuCompositor().drawImage(*target, *white, {0, 0, 0, 2});
    for (uint32_t y = 0; y < 2; ++y)
        for (uint32_t x = 0; x < 2; ++x) EXPECT_EQ(PixelAt(*target, x, y), 0u);
}

TEST(CpuCompositor, CoversThePixelsWhoseCentresLieInsideAFractionalRectangle) {
    SurfaceRef target = MakeSurface(4, 1);
    CpuCompositor().drawImage(*target, *Solid(1, 1, 0xFFFFFFFF), {0.6, 0, 2.0, 1});
    // Centres 0.5, 1.5, 2.5, 3.5 against [0.6, 2.6).
    EXPECT_EQ(PixelAt(*target, 0, 0), 0u);
    EXPECT_EQ(PixelAt(*target, 1, 0), 0xFFFFFFFFu);
    EXPECT_EQ(PixelAt(*target, 2, 0), 0xFFFFFFFFu);
    EXPECT_EQ(PixelAt(*target, 3, 0), 0u);
}
