#include "CpuCompositor.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace qcp::platform {
namespace {

// Source-over for one premultiplied channel: s + d * (1 - sa).
inline uint8_t Over(uint8_t source, uint8_t destination, uint32_t inverseAlpha) {
    return uint8_t(source + (destination * inverseAlpha + 127) / 255);
}

} // namespace

void CpuCompositor::copySurface(const Surface& source, Surface& target) {
    const uint32_t height = std::min(source.height(), target.height());
    const size_t rowBytes = size_t(std::min(source.width(), target.width())) * 4;
    source.Lock();
    target.Lock();
    for (uint32_t y = 0; y < height; ++y)
        std::memcpy(target.baseAddress() + size_t(y) * target.bytesPerRow(),
                    source.baseAddress() + size_t(y) * source.bytesPerRow(), rowBytes);
    target.Unlock();
    source.Unlock();
}

void CpuCompositor::drawImage(Surface& target, const Image& image, const Rect& where) {
    if (where.width <= 0 || where.height <= 0 || image.width() == 0 || image.height() == 0) return;
    const Rect clipped = where.Intersection({0, 0, double(target.width()), double(target.height())});
    if (clipped.width <= 0 || clipped.height <= 0) return;
    const int x0 = int(std::floor(clipped.x)), x1 = int(std::ceil(clipped.MaxX()));
    const int y0 = int(std::floor(clipped.y)), y1 = int(std::ceil(clipped.MaxY()));
    const double scaleX = image.width() / where.width;
    const double scaleY = image.height() / where.height;
    target.Lock();
    for (int y = std::max(y0, 0); y < std::min<int>(y1, int(target.height())); ++y) {
        // Nearest sample at the pixel's centre.
        const double sourceY = (y + 0.5 - where.y) * scaleY;
        if (sourceY < 0 || sourceY >= image.height()) continue;
        const uint8_t* sourceRow = image.row(uint32_t(sourceY));
        uint8_t* out = target.baseAddress() + size_t(y) * target.bytesPerRow();
        for (int x = std::max(x0, 0); x < std::min<int>(x1, int(target.width())); ++x) {
            const double sourceX = (x + 0.5 - where.x) * scaleX;
            if (sourceX < 0 || sourceX >= image.width()) continue;
            const uint8_t* in = sourceRow + size_t(sourceX) * 4;
            uint8_t* pixel = out + size_t(x) * 4;
            const uint32_t inverseAlpha = 255u - in[3];
            for (int c = 0; c < 4; ++c) pixel[c] = Over(in[c], pixel[c], inverseAlpha);
        }
    }
    target.Unlock();
}

} // namespace qcp::platform
