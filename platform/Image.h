#pragma once
#include <cstdint>
#include <memory>
#include <vector>

namespace qcp::platform {

// An immutable still picture: 32-bit pixels, premultiplied alpha, B G R A in
// memory (little-endian ARGB), rows of `bytesPerRow` bytes.
class Image {
public:
    Image(uint32_t width, uint32_t height, uint32_t bytesPerRow, std::vector<uint8_t> pixels)
        : fWidth(width), fHeight(height), fBytesPerRow(bytesPerRow), fPixels(std::move(pixels)) {}

    uint32_t width() const { return fWidth; }
    uint32_t height() const { return fHeight; }
    uint32_t bytesPerRow() const { return fBytesPerRow; }
    const uint8_t* pixels() const { return fPixels.data(); }
    const uint8_t* row(uint32_t y) const { return fPixels.data() + size_t(y) * fBytesPerRow; }

private:
    uint32_t fWidth;
    uint32_t fHeight;
    uint32_t fBytesPerRow;
    std::vector<uint8_t> fPixels;
};

using ImageRef = std::shared_ptr<const Image>;

} // namespace qcp::platform
