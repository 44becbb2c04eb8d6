#include "MacCursor.h"

#import <AppKit/AppKit.h>

#include "MacImages.h"

namespace qcp::platform::mac {

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
            fCursor.image = ImageFromCGImage(image);
        }
        // NSCursor's hot spot is measured from the picture's top-left corner, y down.
        fCursor.width = picture.size.width;
        fCursor.height = picture.size.height;
        fCursor.hotSpot = {cursor.hotSpot.x, cursor.hotSpot.y};
        return fCursor;
    }
}

} // namespace qcp::platform::mac
