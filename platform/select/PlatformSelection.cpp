#include "PlatformSelection.h"

#include <cstdlib>
#include <string_view>

#include "Platform.h"
#include "SimPlatform.h"

namespace qcp::platform {

bool SelectFromEnvironment(std::string& error) {
    if (Current()) return true;
    const char* requested = std::getenv("QCP_PLATFORM");
    std::string_view name = requested ? requested : "";
    // The X11 platform is not built yet, so the simulated desktop stands in
    // for the native one.
    Install(sim::MakeDefaultPlatform());
    if (!name.empty() && name != "sim") {
        error = "QCP_PLATFORM=" + std::string(name) + " is not available; using sim";
        return false;
    }
    return true;
}

} // namespace qcp::platform
