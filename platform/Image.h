#pragma once
#include <cassert>
#include <cstdint>
#include <memory>
#include <vector>

namespace qcp::platform {

// An immutable still picture (what CGImage is on macOS): 32-bit pixels with
// premultiplied alpha, stored B, G, R, A in memory (little-endian ARGB, the
// layout of kPixelFormatBGRA), rows of `bytesPerRow` bytes from the top row
// down. Shared between threads freely: nothing in it changes after it is
// made, or while anyone but a pool that made it holds it (a pool may write
// the next picture into an image it alone holds). Window images
// (WindowServer::windowImage) and the cursor's picture
// (Cursor::currentCursor) are Images; the core draws them into surfaces with
// Compositor::drawImage.
class Image {
public:
    // `pixels` holds at least bytesPerRow * height bytes and bytesPerRow is
    // at least width * 4; the caller guarantees both.
    // `opaque`: every alpha byte is 255, so drawing it replaces what is under it.
    Image(uint32_t width, uint32_t height, uint32_t bytesPerRow, std::vector<uint8_t> pixels, bool opaque = false)
        : fWidth(width), fHeight(height), fBytesPerRow(bytesPerRow), fPixels(std::move(pixels)), fOpaque(opaque) {
        assert(bytesPerRow >= uint64_t(width) * 4 && fPixels.size() >= size_t(bytesPerRow) * height);
    }

    uint32_t width() const { return fWidth; }
    uint32_t height() const { return fHeight; }
    uint32_t bytesPerRow() const { return fBytesPerRow; }
    const uint8_t* pixels() const { return fPixels.data(); }
    const uint8_t* row(uint32_t y) const { return fPixels.data() + size_t(y) * fBytesPerRow; }
    bool opaque() const { return fOpaque; }

    // For the pool that made it, once no one else holds it: where the next
    // picture of the same size goes.
    uint8_t* pixelsForReuse() { return fPixels.data(); }

private:
    uint32_t fWidth;
    uint32_t fHeight;
    uint32_t fBytesPerRow;
    std::vector<uint8_t> fPixels;
    bool fOpaque;
};

// Images travel by shared ownership: the holder of the last reference frees
// it, whichever thread that is.
using ImageRef = std::shared_ptr<const Image>;

} // namespace qcp::platform
