#include "CpuCompositor.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstring>

namespace qcp::platform {
namespace {

// Source-over for one premultiplied pixel: s + d * (1 - sa), each channel.
inline void Over(const uint8_t* source, uint8_t* destination) {
    uint32_t pixel;
    std::memcpy(&pixel, source, 4);
    if (pixel == 0) return; // fully transparent: the destination stands
    const uint32_t alpha = source[3];
    if (alpha == 255) {
        std::memcpy(destination, source, 4);
        return;
    }
    const uint32_t inverse = 255u - alpha;
    for (int c = 0; c < 4; ++c) destination[c] = uint8_t(source[c] + (destination[c] * inverse + 127) / 255);
}

// A pixel whose alpha byte is padding, made opaque.
inline void CopyOpaque(const uint8_t* source, uint8_t* destination) {
    uint32_t pixel;
    std::memcpy(&pixel, source, 4);
    pixel |= 0xFF000000u;
    std::memcpy(destination, &pixel, 4);
}

// One pixel of an image over the destination, as its alpha says.
inline void Draw(ImageAlpha alpha, const uint8_t* source, uint8_t* destination) {
    switch (alpha) {
    case ImageAlpha::Premultiplied: Over(source, destination); return;
    case ImageAlpha::Opaque: std::memcpy(destination, source, 4); return;
    case ImageAlpha::Padding: CopyOpaque(source, destination); return;
    }
}

// A row of `count` pixels, unscaled: the opaque kinds are plain copies (the
// alpha set on the way where it is padding), which become vector code.
void DrawRow(ImageAlpha alpha, const uint8_t* source, uint8_t* destination, size_t count) {
    switch (alpha) {
    case ImageAlpha::Opaque: std::memcpy(destination, source, count * 4); return;
    case ImageAlpha::Padding:
        for (size_t x = 0; x < count; ++x) CopyOpaque(source + x * 4, destination + x * 4);
        return;
    case ImageAlpha::Premultiplied:
        for (size_t x = 0; x < count; ++x) Over(source + x * 4, destination + x * 4);
        return;
    }
}

} // namespace

void CpuCompositor::copySurface(const Surface& source, Surface& target) {
    assert(&source != &target);
    const uint32_t height = std::min(source.height(), target.height());
    const size_t rowBytes = size_t(std::min(source.width(), target.width())) * 4;
    SurfacePairLock locks(source, target);
    if (source.bytesPerRow() == target.bytesPerRow() && rowBytes == source.bytesPerRow()) {
        std::memcpy(target.baseAddress(), source.baseAddress(), rowBytes * height);
        return;
    }
    for (uint32_t y = 0; y < height; ++y)
        std::memcpy(target.baseAddress() + size_t(y) * target.bytesPerRow(),
                    source.baseAddress() + size_t(y) * source.bytesPerRow(), rowBytes);
}

void CpuCompositor::copyArea(const Surface& source, Surface& target, const Rect& area) {
    assert(&source != &target);
    const int left = std::max(0, int(area.x));
    const int top = std::max(0, int(area.y));
    const int right = std::min({int(area.MaxX()), int(source.width()), int(target.width())});
    const int bottom = std::min({int(area.MaxY()), int(source.height()), int(target.height())});
    if (left >= right || top >= bottom) return;
    const size_t rowBytes = size_t(right - left) * 4;
    SurfacePairLock locks(source, target);
    for (int y = top; y < bottom; ++y)
        std::memcpy(target.baseAddress() + size_t(y) * target.bytesPerRow() + size_t(left) * 4,
                    source.baseAddress() + size_t(y) * source.bytesPerRow() + size_t(left) * 4, rowBytes);
}

void CpuCompositor::drawImage(Surface& target, const Image& image, const Rect& where) {
    if (where.width <= 0 || where.height <= 0 || image.width() == 0 || image.height() == 0) return;
    const Rect clipped = where.Intersection({0, 0, double(target.width()), double(target.height())});
    if (clipped.width <= 0 || clipped.height <= 0) return;
    // The pixels whose centres fall inside `where`, each taking the image's
    // sample under its centre.
    const int x0 = std::max(0, int(std::ceil(clipped.x - 0.5)));
    const int x1 = std::min(int(target.width()), int(std::ceil(clipped.MaxX() - 0.5)));
    const int y0 = std::max(0, int(std::ceil(clipped.y - 0.5)));
    const int y1 = std::min(int(target.height()), int(std::ceil(clipped.MaxY() - 0.5)));
    const double scaleX = image.width() / where.width;
    const double scaleY = image.height() / where.height;
    auto sample = [](double at, uint32_t size) { return std::min(size - 1, uint32_t(std::max(0.0, at))); };
    SurfaceLock lock(target);
    if (scaleX == 1 && scaleY == 1 && where.x == std::floor(where.x) && where.y == std::floor(where.y)) {
        // Pixel for pixel (window pictures, the no-feed frame): no sampling.
        const int left = int(where.x), top = int(where.y);
        for (int y = y0; y < y1; ++y)
            DrawRow(image.alpha(), image.row(uint32_t(y - top)) + size_t(x0 - left) * 4,
                    target.baseAddress() + size_t(y) * target.bytesPerRow() + size_t(x0) * 4, size_t(x1 - x0));
        return;
    }
    for (int y = y0; y < y1; ++y) {
        const uint8_t* in = image.row(sample((y + 0.5 - where.y) * scaleY, image.height()));
        uint8_t* out = target.baseAddress() + size_t(y) * target.bytesPerRow();
        for (int x = x0; x < x1; ++x)
            Draw(image.alpha(), in + size_t(sample((x + 0.5 - where.x) * scaleX, image.width())) * 4,
                 out + size_t(x) * 4);
    }
}

} // namespace qcp::platform
