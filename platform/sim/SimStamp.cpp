#include "SimStamp.h"

namespace qcp::platform::sim {
namespace {
constexpr uint32_t kMarker = 0x51C0DE;

// The check cell's top byte: every byte of identity and counter folded.
uint32_t Check(uint32_t identity, uint32_t counter) {
    uint32_t folded = 0xA5;
    for (int shift = 0; shift < 32; shift += 8) folded ^= (identity >> shift) ^ (counter >> shift);
    return folded & 0xFF;
}

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

// The cell's bits read at its centre; none unless the pixel is opaque.
std::optional<uint32_t> CellAt(const uint8_t* pixels, uint32_t bytesPerRow, int x, int y) {
    const uint8_t* p = pixels + size_t(y) * bytesPerRow + size_t(x) * 4;
    if (p[3] != 255) return std::nullopt;
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16;
}

bool IsMarkerPixel(const uint8_t* pixels, uint32_t bytesPerRow, int x, int y) {
    return CellAt(pixels, bytesPerRow, x, y) == kMarker;
}
} // namespace

void WriteStamp(uint8_t* pixels, uint32_t bytesPerRow, int x, int y, const Stamp& stamp) {
    const uint32_t cells[kStampCells] = {
        kMarker, stamp.identity & 0xFFFFFF, stamp.counter & 0xFFFFFF,
        stamp.identity >> 24 | (stamp.counter >> 24) << 8 | Check(stamp.identity, stamp.counter) << 16};
    for (int i = 0; i < kStampCells; ++i) FillCell(pixels, bytesPerRow, x + i * kStampCellPixels, y, cells[i]);
}

std::optional<Stamp> ReadStamp(const uint8_t* pixels, uint32_t bytesPerRow, uint32_t width, uint32_t height, int x,
                               int y) {
    if (x < 0 || y < 0 || uint64_t(x) + kStampWidth > width || uint64_t(y) + kStampHeight > height)
        return std::nullopt;
    const int centre = kStampCellPixels / 2;
    uint32_t cells[kStampCells];
    for (int i = 0; i < kStampCells; ++i) {
        const auto cell = CellAt(pixels, bytesPerRow, x + i * kStampCellPixels + centre, y + centre);
        if (!cell) return std::nullopt;
        cells[i] = *cell;
    }
    if (cells[0] != kMarker) return std::nullopt;
    const Stamp stamp{cells[1] | (cells[3] & 0xFF) << 24, cells[2] | (cells[3] >> 8 & 0xFF) << 24};
    if (cells[3] >> 16 != Check(stamp.identity, stamp.counter)) return std::nullopt;
    return stamp;
}

std::optional<Stamp> ReadStamp(const Surface& surface) {
    SurfaceLock lock(surface);
    return ReadStamp(surface.baseAddress(), surface.bytesPerRow(), surface.width(), surface.height(), 0, 0);
}

std::optional<Stamp> ReadStamp(const Image& image) {
    return ReadStamp(image.pixels(), image.bytesPerRow(), image.width(), image.height(), 0, 0);
}

std::optional<FoundStamp> FindStamp(const Surface& surface, uint32_t identity) {
    SurfaceLock lock(surface);
    const uint8_t* pixels = surface.baseAddress();
    const uint32_t stride = surface.bytesPerRow();
    for (int y = 0; y + kStampHeight <= int(surface.height()); ++y)
        for (int x = 0; x + kStampWidth <= int(surface.width()); ++x) {
            // A stamp's top-left pixel: marker, with no marker above or to the left.
            if (!IsMarkerPixel(pixels, stride, x, y) || (x > 0 && IsMarkerPixel(pixels, stride, x - 1, y)) ||
                (y > 0 && IsMarkerPixel(pixels, stride, x, y - 1)))
                continue;
            const auto stamp = ReadStamp(pixels, stride, surface.width(), surface.height(), x, y);
            if (stamp && stamp->identity == identity) return FoundStamp{*stamp, x, y};
        }
    return std::nullopt;
}

} // namespace qcp::platform::sim
