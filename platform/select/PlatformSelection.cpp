#include "PlatformSelection.h"

#include <cstdlib>
#include <string_view>

#include "Platform.h"
#include "SimPlatform.h"
#if QCP_HAVE_LINUX_PLATFORM
#include "X11Factory.h"
#endif

namespace qcp::platform {
namespace {

// The native platform, or null with the reason in `error`.
std::unique_ptr<Platform> MakeNative(std::string& error) {
#if QCP_HAVE_LINUX_PLATFORM
    return x11::MakePlatform(error);
#else
    error = "not built";
    return nullptr;
#endif
}

} // namespace

bool SelectFromEnvironment(std::string& error) {
    if (Current()) return true;
    const char* requested = std::getenv("QCP_PLATFORM");
    const std::string_view name = requested ? requested : "";
    if (name == "sim") {
        Install(sim::MakeDefaultPlatform());
        return true;
    }
    std::string why;
    std::unique_ptr<Platform> native = MakeNative(why);
    const bool found = native != nullptr;
    Install(found ? std::move(native) : sim::MakeDefaultPlatform());
    if (!name.empty() && name != "linux") {
        error = "QCP_PLATFORM=" + std::string(name) + " is unknown; using " + (found ? "linux" : "sim");
        return false;
    }
    if (found) return true;
    error = std::string(name.empty() ? "the native platform" : "QCP_PLATFORM=linux") + " is not available (" + why +
            "); using sim";
    return false;
}

} // namespace qcp::platform
