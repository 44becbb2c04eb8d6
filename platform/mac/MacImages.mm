#include "MacImages.h"

#include <vector>

namespace qcp::platform::mac {

ImageRef ImageFromCGImage(CGImageRef image) {
    if (!image) return nullptr;
    const size_t width = CGImageGetWidth(image), height = CGImageGetHeight(image);
    if (width == 0 || height == 0) return nullptr;
    std::vector<uint8_t> pixels(width * height * 4);
    CGColorSpaceRef space = CGColorSpaceCreateWithName(kCGColorSpaceSRGB);
    const uint32_t layout = uint32_t(kCGImageAlphaPremultipliedFirst) | kCGBitmapByteOrder32Little; // B, G, R, A
    CGContextRef context = CGBitmapContextCreate(pixels.data(), width, height, 8, width * 4, space, layout);
    CGColorSpaceRelease(space);
    if (!context) return nullptr;
    CGContextDrawImage(context, CGRect{{0, 0}, {double(width), double(height)}}, image);
    CGContextRelease(context);
    return std::make_shared<const Image>(uint32_t(width), uint32_t(height), uint32_t(width * 4), std::move(pixels));
}

} // namespace qcp::platform::mac
