#pragma once
#include <string>

namespace qcp::platform {

// Installs the platform named by QCP_PLATFORM ("sim" or "linux"; the native
// one when unset) unless one is installed already, as tests do. Returns false
// and describes the problem in `error` when the name is unknown; the native
// platform is installed then.
bool SelectFromEnvironment(std::string& error);

} // namespace qcp::platform
