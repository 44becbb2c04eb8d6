#include "FrameResampler.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

namespace qcp::platform::x11 {
namespace {
// Pixels are handled as 32-bit words whose top byte is the fourth in memory.
static_assert(std::endian::native == std::endian::little);
constexpr uint32_t kOpaqueBlack = 0xFF000000u; // B, G, R = 0, A = 255 in memory
constexpr uint32_t kAlpha = 0xFF000000u;
} // namespace

void FrameResampler::MapAxis(std::vector<int32_t>& map, uint32_t outputSize, double start, double size,
                             int readableStart, int readableSize) {
    map.resize(outputSize);
    const double step = size / outputSize;
    for (uint32_t i = 0; i < outputSize; ++i) {
        const double at = std::floor(start + (i + 0.5) * step);
        const double offset = at - readableStart;
        map[i] = offset >= 0 && offset < readableSize ? int32_t(offset) : -1;
    }
}

void FrameResampler::Configure(const Geometry& g) {
    fOutputWidth = g.outputWidth;
    fOutputHeight = g.outputHeight;
    MapAxis(fColumns, g.outputWidth, g.x, g.width, g.readableLeft, g.readableWidth);
    MapAxis(fRows, g.outputHeight, g.y, g.height, g.readableTop, g.readableHeight);
    auto first = std::find_if(fColumns.begin(), fColumns.end(), [](int32_t c) { return c >= 0; });
    auto end = std::find_if(first, fColumns.end(), [](int32_t c) { return c < 0; });
    fFirstColumn = uint32_t(first - fColumns.begin());
    fEndColumn = uint32_t(end - fColumns.begin());
    auto isIdentity = [](const std::vector<int32_t>& map, int readableSize) {
        if (int(map.size()) != readableSize) return false;
        for (size_t i = 0; i < map.size(); ++i)
            if (map[i] != int32_t(i)) return false;
        return true;
    };
    fIdentity = isIdentity(fColumns, g.readableWidth) && isIdentity(fRows, g.readableHeight);
}

void FrameResampler::Resample(const uint8_t* source, size_t sourceStride, uint8_t* target, size_t targetStride) const {
    for (uint32_t y = 0; y < fOutputHeight; ++y) {
        auto* out = reinterpret_cast<uint32_t*>(target + y * targetStride);
        const int32_t row = fRows[y];
        if (row < 0 || fFirstColumn == fEndColumn) {
            std::fill_n(out, fOutputWidth, kOpaqueBlack);
            continue;
        }
        const auto* in = reinterpret_cast<const uint32_t*>(source + size_t(row) * sourceStride);
        std::fill(out, out + fFirstColumn, kOpaqueBlack);
        const int32_t* columns = fColumns.data();
        for (uint32_t x = fFirstColumn; x < fEndColumn; ++x) out[x] = in[columns[x]] | kAlpha;
        std::fill(out + fEndColumn, out + fOutputWidth, kOpaqueBlack);
    }
}

void FrameResampler::MakeOpaque(uint8_t* pixels, size_t stride, uint32_t width, uint32_t height) {
    // Four pixels at a time: a full frame passes through here on every
    // capture, and compilers leave the plain loop unvectorised at -O2.
    using Four = uint32_t __attribute__((vector_size(16)));
    constexpr Four kFourAlphas = {kAlpha, kAlpha, kAlpha, kAlpha};
    for (uint32_t y = 0; y < height; ++y) {
        uint8_t* row = pixels + y * stride;
        uint32_t x = 0;
        for (; x + 4 <= width; x += 4) {
            Four four;
            std::memcpy(&four, row + size_t(x) * 4, sizeof four); // rows are only 4-byte aligned
            four |= kFourAlphas;
            std::memcpy(row + size_t(x) * 4, &four, sizeof four);
        }
        for (; x < width; ++x) row[size_t(x) * 4 + 3] = 0xFF;
    }
}

} // namespace qcp::platform::x11
