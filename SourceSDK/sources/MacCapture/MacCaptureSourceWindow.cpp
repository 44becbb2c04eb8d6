// Window capture: on every refresh of the display, the window is looked up by
// number and its frame read (by the platform straight into a surface, else
// its picture copied into one); when asked, the cursor is drawn into the
// frame with the window's own geometry, the pixels it covers kept aside so
// that an unchanged frame takes it elsewhere without being read again.
#include "CursorGeometry.h"
#include "MacCaptureObserver.h"
#include "MacCaptureSource.h"
#include "MacCaptureWindowManager.h"
#include "Platform.h"

namespace MC {

using namespace qcp::platform;

void MacCaptureSource::displayLinkCallback(int64_t videoTime) {
    MacCaptureWindowUserInfoStruct& info = fWindowInfo;
    {
        // Under the inventory lock so that a refresh cannot free the
        // window's record while its frame is read; the host is called after
        // it, so that its callback may ask the inventory anything.
        MacCaptureWindowManager::RefreshLock inventory;
        // A window closed or dropped by the last refresh sends nothing.
        if (!MacCaptureWindowManager::getWindowForID(int(info.windowID))) return;
        WindowFrame frame = info.frames->Next(info.showCursor);
        if (!frame.surface) return;
        if (frame.fresh || frame.surface.get() != info.surface.get()) info.cursorCovered.reset();
        // The same frame as last time: the cursor drawn into it goes first.
        putBackUnderCursor(*frame.surface, info.underCursor, info.cursorCovered);
        info.surface = std::move(frame.surface);
        if (info.showCursor) {
            const std::optional<Rect> bounds =
                frame.bounds ? frame.bounds : Current()->windowServer().windowBounds(info.windowID);
            info.cursorCovered = drawWindowCursor(*info.surface, bounds, info.underCursor);
        } else {
            info.cursorCovered.reset();
        }
    }
    std::lock_guard lock(fObserverLock);
    for (MacCaptureObserver* observer : fObservers)
        if (observer)
            observer->receivedScreenFrame(int(info.outputWidth), int(info.outputHeight), uint64_t(videoTime),
                                          info.surface.get());
}

std::optional<Rect> MacCaptureSource::drawWindowCursor(Surface& frame, const std::optional<Rect>& bounds,
                                                       SurfaceRef& under) {
    Platform& platform = *Current();
    // One reading of the screen list (with the mouse), into a vector kept
    // from frame to frame, serves every question below.
    std::vector<ScreenInfo>& screens = fWindowScreens;
    const Point mouse = platform.screensAndMouse(screens);
    if (!bounds || screens.empty() || bounds->width <= 0) return std::nullopt;
    // Only while the mouse is on the screen that shows the window.
    const ScreenInfo* mouseScreen = nullptr;
    for (const ScreenInfo& screen : screens)
        if (screen.frame.Contains(mouse)) {
            mouseScreen = &screen;
            break;
        }
    // The window's display is the mouse's screen, which is in the list.
    const MacCaptureDisplay* display = MacCaptureWindowManager::displayForRect(*bounds, nullptr, screens);
    if (!mouseScreen || !display || display->displayID != mouseScreen->displayID) return std::nullopt;

    const CursorImage cursor = platform.cursor().currentCursor();
    if (!cursor.image) return std::nullopt;
    const double scale = frame.width() / bounds->width;
    const Rect where = CursorGeometry::ForWindow(*bounds, screens[0].frame, scale, mouse,
                                                 {cursor.width, cursor.height, cursor.hotSpot});
    if (!where.Intersects({0, 0, double(frame.width()), double(frame.height())})) return std::nullopt;
    if (!keepAsideFor(frame, under)) return std::nullopt;
    return drawCursorPicture(frame, *cursor.image, CursorGeometry::FlipToTopLeft(where, frame.height()), under.get());
}

} // namespace MC
