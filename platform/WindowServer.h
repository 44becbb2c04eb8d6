#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Geometry.h"
#include "Image.h"

namespace qcp::platform {

// One window as the window server lists it.
struct WindowInfo {
    uint32_t number = 0;
    std::optional<std::string> title;
    std::optional<std::string> ownerName;
    int32_t ownerPID = 0;
    // Global, in points, origin at the main screen's top-left, y down.
    Rect bounds;
    bool onScreen = false;
};

// The system's windows. Called from any thread.
class WindowServer {
public:
    virtual ~WindowServer() = default;
    // Front to back; with `onScreenOnly` only windows visible on the current
    // desktop (not minimised, hidden or on another Space).
    virtual std::vector<WindowInfo> windowList(bool onScreenOnly) const = 0;
    // The entry of one window; none when it is gone.
    virtual std::optional<WindowInfo> window(uint32_t number) const = 0;
    // A picture of that window alone, at its pixel size, framing excluded;
    // null when the window is gone or cannot be read.
    virtual ImageRef windowImage(uint32_t number) const = 0;
    // The calling process's id, whose windows the inventory leaves out.
    virtual int32_t ownPID() const = 0;
};

} // namespace qcp::platform
