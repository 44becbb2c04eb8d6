#pragma once
#include <cassert>
#include <cstdint>
#include <memory>
#include <vector>

namespace qcp::platform {

// What the fourth byte of each pixel of an Image means.
enum class ImageAlpha {
    Premultiplied, // drawn source-over
    Opaque,        // every alpha byte is 255: drawing the picture replaces what is under it
    Padding,       // no alpha channel (an X visual of depth 24): opaque, the byte undefined
};

// An immutable still picture (what CGImage is on macOS): 32-bit pixels with
// premultiplied alpha (or none, see ImageAlpha), stored B, G, R, A in memory
// (little-endian ARGB, the layout of kPixelFormatBGRA), rows of
// `bytesPerRow` bytes from the top row down. Shared between threads freely:
// nothing in it changes after it is made, or while anyone but a pool that
// made it holds it (a pool may write the next picture into the memory of an
// image it alone holds). Window images (WindowServer::windowImage) and the
// cursor's picture (Cursor::currentCursor) are Images; the core draws them
// into surfaces with Compositor::drawImage.
class Image {
public:
    // `pixels` holds at least bytesPerRow * height bytes and bytesPerRow is
    // at least width * 4; the caller guarantees both.
    Image(uint32_t width, uint32_t height, uint32_t bytesPerRow, std::vector<uint8_t> pixels,
          ImageAlpha alpha = ImageAlpha::Premultiplied)
        : fWidth(width), fHeight(height), fBytesPerRow(bytesPerRow), fOwned(std::move(pixels)), fPixels(fOwned.data()),
          fAlpha(alpha) {
        assert(bytesPerRow >= uint64_t(width) * 4 && fOwned.size() >= size_t(bytesPerRow) * height);
    }
    // Pixels in memory that `owner` keeps (a segment shared with the X
    // server, say), for as long as the image lives.
    Image(uint32_t width, uint32_t height, uint32_t bytesPerRow, const uint8_t* pixels,
          std::shared_ptr<const void> owner, ImageAlpha alpha)
        : fWidth(width), fHeight(height), fBytesPerRow(bytesPerRow), fPixels(pixels), fOwner(std::move(owner)),
          fAlpha(alpha) {
        assert(bytesPerRow >= uint64_t(width) * 4 && pixels);
    }
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;

    uint32_t width() const { return fWidth; }
    uint32_t height() const { return fHeight; }
    uint32_t bytesPerRow() const { return fBytesPerRow; }
    const uint8_t* pixels() const { return fPixels; }
    const uint8_t* row(uint32_t y) const { return fPixels + size_t(y) * fBytesPerRow; }
    ImageAlpha alpha() const { return fAlpha; }

private:
    uint32_t fWidth;
    uint32_t fHeight;
    uint32_t fBytesPerRow;
    std::vector<uint8_t> fOwned;
    const uint8_t* fPixels;
    std::shared_ptr<const void> fOwner;
    ImageAlpha fAlpha;
};

// Images travel by shared ownership: the holder of the last reference frees
// it, whichever thread that is.
using ImageRef = std::shared_ptr<const Image>;

} // namespace qcp::platform
