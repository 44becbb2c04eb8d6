#include "SimStamp.h"

namespace qcp::platform::sim {
namespace {
constexpr uint32_t kMarker = 0x51C0DE; // 24 bits: one cell

// Each cell carries 24 bits in B, G and R, opaque.
void FillCell(uint8_t* pixels, uint32_t bytesPerRow, int x, int y, uint32_t bits) {
    for (int dy = 0; dy < kStampCellPixels; ++dy)
        for (int dx = 0; dx < kStampCellPixels; ++dx) {
            uint8_t* p = pixels + size_t(y + dy) * bytesPerRow + size_t(x + dx) * 4;
            p[0] = uint8_t(bits);
            p[1] = uint8_t(bits >> 8);
            p[2] = uint8_t(bits >> 16);
            p[3] = 255;
        }
}

uint32_t CellAt(const uint8_t* pixels, uint32_t bytesPerRow, int x, int y) {
    const uint8_t* p = pixels + size_t(y) * bytesPerRow + size_t(x) * 4;
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16;
}
} // namespace

void WriteStamp(uint8_t* pixels, uint32_t bytesPerRow, int x, int y, const Stamp& stamp) {
    const uint32_t cells[kStampCells] = {kMarker, stamp.identity & 0xFFFFFF, stamp.identity >> 24,
                                         stamp.counter & 0xFFFFFF, stamp.counter >> 24};
    for (int i = 0; i < kStampCells; ++i) FillCell(pixels, bytesPerRow, x + i * kStampCellPixels, y, cells[i]);
}

std::optional<Stamp> ReadStamp(const uint8_t* pixels, uint32_t bytesPerRow, uint32_t width, uint32_t height, int x,
                               int y) {
    const int centre = kStampCellPixels / 2;
    if (x < 0 || y < 0 || uint32_t(x + kStampCells * kStampCellPixels) > width ||
        uint32_t(y + kStampCellPixels) > height)
        return std::nullopt;
    uint32_t cells[kStampCells];
    for (int i = 0; i < kStampCells; ++i)
        cells[i] = CellAt(pixels, bytesPerRow, x + i * kStampCellPixels + centre, y + centre);
    if (cells[0] != kMarker) return std::nullopt;
    return Stamp{cells[1] | cells[2] << 24, cells[3] | cells[4] << 24};
}

std::optional<Stamp> ReadStamp(const Surface& surface) {
    surface.Lock();
    auto stamp = ReadStamp(surface.baseAddress(), surface.bytesPerRow(), surface.width(), surface.height(), 0, 0);
    surface.Unlock();
    return stamp;
}

} // namespace qcp::platform::sim
