#include "MacCursor.h"

#import <AppKit/AppKit.h>

#include <vector>

namespace qcp::platform::mac {
namespace {
// A CoreGraphics image as premultiplied B, G, R, A pixels; null when it
// cannot be drawn.
ImageRef Convert(CGImageRef image) {
    const size_t width = CGImageGetWidth(image), height = CGImageGetHeight(image);
    if (width == 0 || height == 0) return nullptr;
    std::vector<uint8_t> pixels(width * height * 4);
    CGColorSpaceRef space = CGColorSpaceCreateWithName(kCGColorSpaceSRGB);
    CGContextRef context = CGBitmapContextCreate(pixels.data(), width, height, 8, width * 4, space,
                                                 uint32_t(kCGImageAlphaPremultipliedFirst) | kCGBitmapByteOrder32Little);
    CGColorSpaceRelease(space);
    if (!context) return nullptr;
    CGContextDrawImage(context, CGRect{{0, 0}, {double(width), double(height)}}, image);
    CGContextRelease(context);
    return std::make_shared<const Image>(uint32_t(width), uint32_t(height), uint32_t(width * 4), std::move(pixels));
}
} // namespace

MacCursor::~MacCursor() {
    if (fConverted) CGImageRelease(fConverted);
}

Point MacCursor::mouseLocation() const {
    CGEventRef event = CGEventCreate(nullptr);
    if (!event) return {};
    const CGPoint location = CGEventGetLocation(event);
    CFRelease(event);
    const double mainHeight = CGDisplayBounds(CGMainDisplayID()).size.height;
    return {location.x, mainHeight - location.y};
}

CursorImage MacCursor::currentCursor() const {
    @autoreleasepool {
        NSCursor* cursor = NSCursor.currentSystemCursor;
        if (!cursor) return {};
        NSImage* picture = cursor.image;
        CGImageRef image = [picture CGImageForProposedRect:nullptr context:nil hints:nil];
        if (!image) return {};
        std::lock_guard lock(fMutex);
        if (image != fConverted) {
            if (fConverted) CGImageRelease(fConverted);
            fConverted = CGImageRetain(image);
            fCursor.image = Convert(image);
        }
        // NSCursor's hot spot is measured from the picture's top-left corner, y down.
        fCursor.width = picture.size.width;
        fCursor.height = picture.size.height;
        fCursor.hotSpot = {cursor.hotSpot.x, cursor.hotSpot.y};
        return fCursor;
    }
}

} // namespace qcp::platform::mac
