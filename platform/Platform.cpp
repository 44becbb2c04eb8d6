#include "Platform.h"

namespace qcp::platform {
namespace {
std::unique_ptr<Platform>& Installed() {
    static std::unique_ptr<Platform> platform;
    return platform;
}
} // namespace

Platform* Current() { return Installed().get(); }

void Install(std::unique_ptr<Platform> platform) { Installed() = std::move(platform); }

} // namespace qcp::platform
