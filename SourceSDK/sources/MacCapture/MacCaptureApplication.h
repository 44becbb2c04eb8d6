#pragma once
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "MacCaptureWindow.h"

namespace MC {

// A process that owns capturable windows, with those windows in the order the
// window server listed them.
class MacCaptureApplication {
public:
    MacCaptureApplication() = default;
    MacCaptureApplication(int32_t pid, std::string name);
    // Copies every window (by the window's copy rule); the copies still
    // point at `other` as their application.
    MacCaptureApplication(const MacCaptureApplication& other);
    MacCaptureApplication& operator=(const MacCaptureApplication&) = delete;

    int32_t pid = 0;
    std::string name;
    std::vector<std::unique_ptr<MacCaptureWindow>> windows;
};

} // namespace MC
