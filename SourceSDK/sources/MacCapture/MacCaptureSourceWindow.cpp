// Window capture: on every refresh of the display, the window is looked up by
// number, imaged alone, copied into the reused surface and, when asked, the
// cursor is drawn over it with the window's own geometry.
#include "CursorGeometry.h"
#include "MacCaptureDisplayUtils.h"
#include "MacCaptureObserver.h"
#include "MacCaptureSource.h"
#include "MacCaptureWindowManager.h"
#include "Platform.h"

namespace MC {

using namespace qcp::platform;

void MacCaptureSource::displayLinkCallback(int64_t videoTime) {
    {
        // Under the inventory lock so that a refresh cannot free the
        // window's record while its picture is taken; the host is called
        // after it, so that its callback may ask the inventory anything.
        MacCaptureWindowManager::RefreshLock inventory;
        // A window closed or dropped by the last refresh sends nothing.
        if (!MacCaptureWindowManager::getWindowForID(int(fWindowInfo.windowID))) return;
        ImageRef image = Current()->windowServer().windowImage(fWindowInfo.windowID);
        if (!image) return;
        // The same picture again (the window did not change) is in the
        // surface already.
        if (image != fWindowInfo.image || !fWindowInfo.surface) {
            fWindowInfo.surface = copyCGImageRefToIOSurface(*image, fWindowInfo.surface);
            fWindowInfo.image = fWindowInfo.surface ? std::move(image) : nullptr;
        }
        if (!fWindowInfo.surface) return;
        if (fWindowInfo.showCursor) {
            drawWindowCursor(*fWindowInfo.surface, fWindowInfo.windowID);
            fWindowInfo.image = nullptr; // the surface holds more than the picture now
        }
    }
    std::lock_guard lock(fObserverLock);
    for (MacCaptureObserver* observer : fObservers)
        if (observer)
            observer->receivedScreenFrame(int(fWindowInfo.outputWidth), int(fWindowInfo.outputHeight),
                                          uint64_t(videoTime), fWindowInfo.surface.get());
}

void MacCaptureSource::drawWindowCursor(Surface& surface, uint32_t windowID) {
    Platform& platform = *Current();
    const std::optional<Rect> bounds = platform.windowServer().windowBounds(windowID);
    // One reading of the screen list, into a vector kept from frame to frame,
    // serves every question below.
    std::vector<ScreenInfo>& screens = fWindowScreens;
    platform.screens().list(screens);
    if (!bounds || screens.empty() || bounds->width <= 0) return;
    // Only while the mouse is on the screen that shows the window.
    const Point mouse = platform.cursor().mouseLocation();
    const ScreenInfo* mouseScreen = nullptr;
    for (const ScreenInfo& screen : screens)
        if (screen.frame.Contains(mouse)) {
            mouseScreen = &screen;
            break;
        }
    // The window's display is the mouse's screen, which is in the list.
    const MacCaptureDisplay* display = MacCaptureWindowManager::displayForRect(*bounds, nullptr, screens);
    if (!mouseScreen || !display || display->displayID != mouseScreen->displayID) return;

    const CursorImage cursor = platform.cursor().currentCursor();
    if (!cursor.image) return;
    const double scale = surface.width() / bounds->width;
    const Rect where = CursorGeometry::ForWindow(*bounds, screens[0].frame, scale, mouse,
                                                 {cursor.width, cursor.height, cursor.hotSpot});
    if (!where.Intersects({0, 0, double(surface.width()), double(surface.height())})) return;
    platform.compositor().drawImage(surface, *cursor.image, CursorGeometry::FlipToTopLeft(where, surface.height()));
}

} // namespace MC
