#pragma once
#include <string>

namespace qcp::platform {

// Installs the platform named by QCP_PLATFORM, unless one is installed
// already (as tests do):
// - "sim": the simulated desktop. It is used only when named here, never in
//   place of a platform that is missing.
// - "linux", or unset: the native platform, X11 on $DISPLAY. It is installed
//   even without a reachable X server; it then lists no screens and no
//   windows, makes no streams or display links, and says why once in the
//   user log (see x11::MakePlatform).
// Returns false, installs nothing and says why in `error` when the name is
// unknown, or when the native platform is asked for and not built.
bool SelectFromEnvironment(std::string& error);

// Installs the sound system QCP_PLATFORM names behind CoreAudio's functions,
// unless one is installed already (as tests do), on systems without
// CoreAudio: "sim" installs the default simulated sound system; "linux", or
// unset, the sound server's layer for this user's server (PULSE_SERVER
// first), which answers that the sound system is not running when none
// answers. Where that layer is not built none is installed, with the same
// answer. macOS has its own.
void SelectAudioFromEnvironment();

} // namespace qcp::platform
