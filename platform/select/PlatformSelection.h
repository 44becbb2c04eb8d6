#pragma once
#include <string>

namespace qcp::platform {

// Installs the platform named by QCP_PLATFORM unless one is installed
// already, as tests do: "sim" (the simulated desktop), "linux" (X11 on
// $DISPLAY), or, when unset, the native one (linux when it is built and an X
// display opens, else sim). Returns false and describes the problem in
// `error` when the name is unknown (the native platform is installed then)
// or when the native platform cannot be had (not built, or no X display: the
// simulated desktop is installed then).
bool SelectFromEnvironment(std::string& error);

} // namespace qcp::platform
