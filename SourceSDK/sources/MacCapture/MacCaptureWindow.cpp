#include "MacCaptureWindow.h"

#include "MacCaptureApplication.h"
#include "MacCaptureDisplay.h"
#include "MacCaptureDisplayUtils.h"
#include "MacCaptureWindowManager.h"
#include "Platform.h"

namespace MC {

using namespace qcp::platform;

MacCaptureWindow::MacCaptureWindow(const MacCaptureWindow& other)
    : windowID(other.windowID),
      name(other.name),
      application(other.application),
      display(other.display),
      partlyOffDisplay(false),
      bounds(other.bounds) {}

int MacCaptureWindow::refresh() {
    Platform* platform = Current();
    int result = kNotFound;
    if (!platform || !application) return result;
    const std::vector<ScreenInfo> screens = platform->screens().list();
    for (const WindowInfo& entry : platform->windowServer().windowList(true)) {
        if (!entry.title || *entry.title != name || !entry.ownerName || *entry.ownerName != application->name)
            continue;
        MacCaptureDisplay* found = MacCaptureWindowManager::displayForRect(entry.bounds, &partlyOffDisplay, screens);
        if (!found) {
            // Off every display, but not lost.
            result = 0;
            continue;
        }
        result = found != display ? kDisplayChanged : 0;
        display = found;
        Rect rect = entry.bounds;
        ConvertBoundsForDisplay(rect, display, screens);
        if (double(bounds.x) != rect.x || double(bounds.y) != rect.y) {
            result |= kOriginMoved;
            bounds.x = float(rect.x);
            bounds.y = float(rect.y);
        }
        if (double(bounds.width) != rect.width || double(bounds.height) != rect.height) {
            result |= kSizeChanged;
            bounds.width = float(rect.width);
            bounds.height = float(rect.height);
        }
    }
    return result;
}

void MacCaptureWindow::ConvertBoundsForDisplay(Rect& rect, const MacCaptureDisplay* display) {
    ConvertBoundsForDisplay(rect, display, currentScreens());
}

void MacCaptureWindow::ConvertBoundsForDisplay(Rect& rect, const MacCaptureDisplay* display,
                                               const std::vector<ScreenInfo>& screens) {
    if (!display || screens.empty()) return;
    const Rect& main = screens[0].frame;
    for (const ScreenInfo& screen : screens) {
        if (screen.displayID != display->displayID) continue;
        // Screen frames have their origin at the main screen's bottom-left
        // with y up; the rectangle's origin is at the main screen's top-left
        // with y down.
        rect.x -= screen.frame.x;
        rect.y += screen.frame.y + screen.frame.height - main.height;
    }
}

ImageRef MacCaptureWindow::createWindowScreenShot() const {
    Platform* platform = Current();
    return platform ? platform->windowServer().windowImage(uint32_t(windowID)) : nullptr;
}

} // namespace MC
