#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Geometry.h"

namespace qcp::platform {

// One display as the screen list shows it (an NSScreen with its device
// description and the monitor's information).
struct ScreenInfo {
    // The display's 32-bit id ("NSScreenNumber", a CGDirectDisplayID); never 0.
    uint32_t displayID = 0;
    // Global, in points, origin at the main screen's bottom-left corner, y up
    // (NSScreen frame). The main screen's frame starts at (0, 0).
    Rect frame;
    // Pixels per point (backingScaleFactor): 1, or 2 on high-density panels.
    double backingScale = 1.0;
    // The monitor's product name ("DisplayProductName"); none when the system
    // does not know it, and the core then shows its own fallback.
    std::optional<std::string> productName;
    // Refreshes per second; 0 when unknown, and display links and streams
    // then run at 60.
    double refreshRate = 0;
};

// The ordered screen list (NSScreen screens). Index 0 is the main screen, the
// one with the menu bar, whose bottom-left corner is the origin of the global
// space.
//
// Called from any thread (the host's, the window monitor's, a display link's)
// with no lock of the core held that the platform could need. Each call reads
// the current list afresh, so a display plugged in, removed or rearranged is
// seen at the next call; nothing is cached by the seam. An empty list is a
// valid answer (no display attached, or the system cannot tell).
class Screens {
public:
    virtual ~Screens() = default;
    // Fills `screens` with the list, reusing its elements and capacity: a
    // caller that keeps the vector allocates nothing once it has held the
    // list (the render loop's cursor pass does).
    virtual void list(std::vector<ScreenInfo>& screens) const = 0;
    std::vector<ScreenInfo> list() const {
        std::vector<ScreenInfo> screens;
        list(screens);
        return screens;
    }
};

} // namespace qcp::platform
