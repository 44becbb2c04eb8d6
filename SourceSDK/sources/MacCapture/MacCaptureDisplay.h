#pragma once
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "MacCaptureWindow.h"
#include "Screens.h"

namespace MC {

// One screen as the inventory last saw it.
class MacCaptureDisplay {
public:
    MacCaptureDisplay(uint32_t displayID, float width, float height, std::string name);
    // Copies the window list by the window's copy rule.
    MacCaptureDisplay(const MacCaptureDisplay& other);
    MacCaptureDisplay& operator=(const MacCaptureDisplay&) = delete;

    // The screen list's record of this display; none once it is unplugged.
    std::optional<qcp::platform::ScreenInfo> getNSScreenForDisplay() const;

    uint32_t displayID = 0;
    // The screen's frame size in points.
    float width = 0;
    float height = 0;
    std::string name;
    // Owned like an application's windows; the inventory leaves it empty.
    std::vector<std::unique_ptr<MacCaptureWindow>> windows;
};

} // namespace MC
