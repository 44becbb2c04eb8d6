#include "MacCaptureDisplay.h"

#include <utility>

#include "MacCaptureDisplayUtils.h"

namespace MC {

MacCaptureDisplay::MacCaptureDisplay(uint32_t displayID_, float width_, float height_, std::string name_)
    : displayID(displayID_), width(width_), height(height_), name(std::move(name_)) {}

MacCaptureDisplay::MacCaptureDisplay(const MacCaptureDisplay& other)
    : displayID(other.displayID), width(other.width), height(other.height), name(other.name) {
    windows.reserve(other.windows.size());
    for (const std::unique_ptr<MacCaptureWindow>& window : other.windows)
        windows.push_back(std::make_unique<MacCaptureWindow>(*window));
}

std::optional<qcp::platform::ScreenInfo> MacCaptureDisplay::getNSScreenForDisplay() const {
    return screenFromDisplayID(displayID);
}

} // namespace MC
