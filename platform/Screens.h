#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Geometry.h"

namespace qcp::platform {

// One display as the screen list shows it.
struct ScreenInfo {
    uint32_t displayID = 0;
    // Global, in points, origin at the main screen's bottom-left, y up.
    Rect frame;
    // Pixels per point.
    double backingScale = 1.0;
    // The monitor's product name, when the system knows it.
    std::optional<std::string> productName;
    // Refreshes per second; 0 when unknown.
    double refreshRate = 0;
};

// The ordered screen list; index 0 is the main screen. Called from any
// thread; each call reads the current list, so displays plugged in or out
// are seen at the next call.
class Screens {
public:
    virtual ~Screens() = default;
    virtual std::vector<ScreenInfo> list() const = 0;
};

} // namespace qcp::platform
