#include "SimPainter.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

namespace qcp::platform::sim::SimPainter {
namespace {

void Fill(uint8_t* pixels, uint32_t bytesPerRow, uint32_t width, uint32_t height, int x0, int y0, int x1, int y1,
          uint32_t bgra) {
    x0 = std::max(x0, 0);
    y0 = std::max(y0, 0);
    x1 = std::min<int>(x1, int(width));
    y1 = std::min<int>(y1, int(height));
    if (x0 >= x1) return;
    for (int y = y0; y < y1; ++y) {
        uint8_t* row = pixels + size_t(y) * bytesPerRow;
        for (int x = x0; x < x1; ++x) std::memcpy(row + size_t(x) * 4, &bgra, 4);
    }
}

void StampIfRoom(uint8_t* pixels, uint32_t bytesPerRow, uint32_t width, uint32_t height, int x, int y,
                 const Stamp& stamp) {
    if (x >= 0 && y >= 0 && x + kStampWidth <= int(width) && y + kStampHeight <= int(height))
        WriteStamp(pixels, bytesPerRow, x, y, stamp);
}

} // namespace

uint32_t ColourOf(uint32_t identity) {
    // Knuth's multiplicative hash spreads neighbouring ids apart; the floor
    // keeps every colour away from black so stamps and fills differ.
    const uint32_t mixed = identity * 2654435761u;
    return 0xFF000000u | (mixed & 0x00FFFFFFu) | 0x00404040u;
}

void PaintDisplay(const SimWorld::DisplayScene& scene, const std::optional<Rect>& sourceRect, Surface& target) {
    const Rect source = sourceRect.value_or(Rect{0, 0, scene.frame.width, scene.frame.height});
    const double sx = target.width() / source.width, sy = target.height() / source.height;
    SurfaceLock lock(target);
    uint8_t* pixels = target.baseAddress();
    const uint32_t stride = target.bytesPerRow(), width = target.width(), height = target.height();
    Fill(pixels, stride, width, height, 0, 0, int(width), int(height), ColourOf(scene.displayID));
    for (const SimWorld::DisplayScene::Item& window : scene.windows) {
        // Global points to the display's points to the target's pixels.
        const double left = (window.bounds.x - scene.frame.x - source.x) * sx;
        const double top = (window.bounds.y - scene.frame.y - source.y) * sy;
        const int x0 = int(std::lround(left)), y0 = int(std::lround(top));
        Fill(pixels, stride, width, height, x0, y0, int(std::lround(left + window.bounds.width * sx)),
             int(std::lround(top + window.bounds.height * sy)), ColourOf(window.number));
        StampIfRoom(pixels, stride, width, height, x0, y0, {window.number, window.counter});
    }
    StampIfRoom(pixels, stride, width, height, 0, 0, {scene.displayID, scene.counter});
}

ImageRef PaintWindow(const Stamp& stamp, uint32_t width, uint32_t height, bool transparent) {
    std::vector<uint8_t> pixels(size_t(width) * height * 4, 0);
    if (!transparent) {
        Fill(pixels.data(), width * 4, width, height, 0, 0, int(width), int(height), ColourOf(stamp.identity));
        StampIfRoom(pixels.data(), width * 4, width, height, 0, 0, stamp);
    }
    return std::make_shared<Image>(width, height, width * 4, std::move(pixels));
}

ImageRef SolidImage(uint32_t width, uint32_t height, uint32_t bgra) {
    std::vector<uint8_t> pixels(size_t(width) * height * 4);
    Fill(pixels.data(), width * 4, width, height, 0, 0, int(width), int(height), bgra);
    return std::make_shared<Image>(width, height, width * 4, std::move(pixels));
}

CursorImage ArrowCursor() {
    constexpr uint32_t kSize = 16;
    std::vector<uint8_t> pixels(kSize * kSize * 4, 0);
    for (uint32_t y = 0; y < kSize; ++y)
        for (uint32_t x = 0; x <= y; ++x) {
            const bool edge = x == 0 || x == y || y == kSize - 1;
            uint8_t* p = &pixels[(y * kSize + x) * 4];
            p[0] = p[1] = p[2] = edge ? 255 : 0;
            p[3] = 255;
        }
    return {std::make_shared<Image>(kSize, kSize, kSize * 4, std::move(pixels)), double(kSize), double(kSize),
            {1, 1}};
}

} // namespace qcp::platform::sim::SimPainter
