#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "Geometry.h"
#include "Image.h"
#include "Screens.h"

namespace MC {

class MacCaptureApplication;
class MacCaptureDisplay;

// One titled window of another process, as the inventory last saw it. Owned
// by its application's window list; the inventory's lock keeps it (and the
// application and display it points at) alive while a caller uses it.
class MacCaptureWindow {
public:
    // Geometry in points, in the coordinates of `display`: origin at the
    // display's top-left corner, y down.
    struct Bounds {
        float x = 0;
        float y = 0;
        float width = 0;
        float height = 0;
    };

    // The change mask of refresh(). 1, 2 and 4 combine; 8 stands alone.
    static constexpr int kOriginMoved = 1;
    static constexpr int kSizeChanged = 2;
    static constexpr int kDisplayChanged = 4;
    static constexpr int kNotFound = 8;

    MacCaptureWindow() = default;
    // Shares the application and display pointers; a copy always starts with
    // `partlyOffDisplay` false.
    MacCaptureWindow(const MacCaptureWindow& other);
    MacCaptureWindow& operator=(const MacCaptureWindow&) = delete;

    // Finds the window again among the on-screen windows by its title and
    // its application's name (not by number, so a reopened window is found
    // again; of two alike, the last listed wins), takes its display and
    // bounds, and returns what changed. Call with the inventory locked.
    int refresh();

    // Moves `rect` from global top-left coordinates into those of `display`;
    // leaves it alone when `display` is null or no longer plugged in.
    static void ConvertBoundsForDisplay(qcp::platform::Rect& rect, const MacCaptureDisplay* display);
    // The same with a screen list the caller has already read.
    static void ConvertBoundsForDisplay(qcp::platform::Rect& rect, const MacCaptureDisplay* display,
                                        const std::vector<qcp::platform::ScreenInfo>& screens);

    // A picture of this window alone; null when the window is gone.
    qcp::platform::ImageRef createWindowScreenShot() const;

    int32_t windowID = 0;
    std::string name;
    MacCaptureApplication* application = nullptr;
    MacCaptureDisplay* display = nullptr;
    bool partlyOffDisplay = false;
    Bounds bounds;
};

} // namespace MC
