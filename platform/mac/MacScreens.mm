#include "MacScreens.h"

#import <AppKit/AppKit.h>
#include <CoreGraphics/CoreGraphics.h>

#include <algorithm>
#include <array>

namespace qcp::platform::mac {
namespace {
// More displays than any Mac drives at once.
constexpr uint32_t kMaxDisplays = 32;

std::optional<std::string> ProductName(CGDirectDisplayID display) {
    @autoreleasepool {
        NSArray<NSScreen*>* screens = NSScreen.screens;
        for (NSUInteger i = 0; i < screens.count; ++i) {
            NSNumber* number = [screens[i].deviceDescription objectForKey:@"NSScreenNumber"];
            if (number.unsignedIntValue != display) continue;
            const char* name = screens[i].localizedName.UTF8String;
            if (!name || !*name) return std::nullopt;
            return std::string(name);
        }
    }
    return std::nullopt;
}
} // namespace

void MacScreens::list(std::vector<ScreenInfo>& screens) const {
    std::array<CGDirectDisplayID, kMaxDisplays> displays{};
    uint32_t count = 0;
    if (CGGetActiveDisplayList(kMaxDisplays, displays.data(), &count) != kCGErrorSuccess) count = 0;
    // The main display leads, as NSScreen's list has it.
    const CGDirectDisplayID main = CGMainDisplayID();
    std::stable_partition(displays.begin(), displays.begin() + count, [&](CGDirectDisplayID d) { return d == main; });
    const double mainHeight = count ? CGDisplayBounds(displays[0]).size.height : 0;
    screens.resize(count);
    for (uint32_t i = 0; i < count; ++i) {
        const CGRect bounds = CGDisplayBounds(displays[i]);
        ScreenInfo& screen = screens[i];
        screen.displayID = displays[i];
        screen.frame = {bounds.origin.x, mainHeight - (bounds.origin.y + bounds.size.height), bounds.size.width,
                        bounds.size.height};
        screen.backingScale = 1.0;
        screen.refreshRate = 0;
        if (CGDisplayModeRef mode = CGDisplayCopyDisplayMode(displays[i])) {
            const size_t points = CGDisplayModeGetWidth(mode), pixels = CGDisplayModeGetPixelWidth(mode);
            if (points > 0 && pixels > 0) screen.backingScale = double(pixels) / double(points);
            screen.refreshRate = CGDisplayModeGetRefreshRate(mode);
            CGDisplayModeRelease(mode);
        }
        screen.productName = ProductName(displays[i]);
    }
}

} // namespace qcp::platform::mac
