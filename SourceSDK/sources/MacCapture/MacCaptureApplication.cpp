#include "MacCaptureApplication.h"

#include <utility>

namespace MC {

MacCaptureApplication::MacCaptureApplication(int32_t pid_, std::string name_) : pid(pid_), name(std::move(name_)) {}

MacCaptureApplication::MacCaptureApplication(const MacCaptureApplication& other) : pid(other.pid), name(other.name) {
    windows.reserve(other.windows.size());
    for (const std::unique_ptr<MacCaptureWindow>& window : other.windows)
        windows.push_back(std::make_unique<MacCaptureWindow>(*window));
}

} // namespace MC
