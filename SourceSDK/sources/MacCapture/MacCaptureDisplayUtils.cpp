#include "MacCaptureDisplayUtils.h"

#include <algorithm>

#include "Platform.h"

namespace MC {

using namespace qcp::platform;

std::vector<ScreenInfo> currentScreens() {
    Platform* platform = Current();
    return platform ? platform->screens().list() : std::vector<ScreenInfo>{};
}

unsigned int displayIDFromIndex(int index) {
    const std::vector<ScreenInfo> screens = currentScreens();
    return index >= 0 && size_t(index) < screens.size() ? screens[size_t(index)].displayID : 0;
}

int indexFromDisplayID(unsigned int displayID) {
    const std::vector<ScreenInfo> screens = currentScreens();
    const auto found = std::find_if(screens.begin(), screens.end(),
                                    [&](const ScreenInfo& screen) { return screen.displayID == displayID; });
    return found == screens.end() ? -1 : int(found - screens.begin());
}

std::optional<ScreenInfo> screenFromDisplayID(unsigned int displayID) {
    std::vector<ScreenInfo> screens = currentScreens();
    for (ScreenInfo& screen : screens)
        if (screen.displayID == displayID) return std::move(screen);
    return std::nullopt;
}

std::string displayName(const ScreenInfo& screen) { return screen.productName.value_or("Unknown"); }

SurfaceRef copyCGImageRefToIOSurface(const Image& image, const SurfaceRef& surface) {
    Platform* platform = Current();
    if (!platform) return {};
    const uint32_t width = image.width(), height = image.height(), bytesPerRow = image.bytesPerRow();
    const size_t size = size_t(bytesPerRow) * height;
    SurfaceRef target;
    if (surface && surface->width() == width && surface->height() == height && surface->bytesPerRow() == bytesPerRow &&
        surface->allocSize() >= size) {
        target = surface;
    } else {
        SurfaceProperties properties;
        properties.width = width;
        properties.height = height;
        properties.bytesPerRow = bytesPerRow;
        properties.allocSize = size;
        properties.elementWidth = 1;
        properties.bytesPerElement = 4;
        properties.pixelFormat = kPixelFormat32ARGB;
        target = SurfaceRef::Adopt(platform->createSurface(properties));
        if (!target) return {};
    }
    // The compositor takes the surface's lock for the draw.
    platform->compositor().drawImage(*target, image, {0, 0, double(width), double(height)});
    return target;
}

} // namespace MC
