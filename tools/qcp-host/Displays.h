#pragma once
#include <string>

#include "PluginLibrary.h"

namespace qcphost {

// How many displays the plug-in can capture. The interface has no display
// list, so a probe source is aimed at index 0, 1, ... without capturing video
// until the plug-in no longer takes the index.
int CountDisplays(PluginLibrary& plugin);

// Why the plug-in may list no displays, from QCP_PLATFORM and DISPLAY (either
// null when unset).
std::string NoDisplaysMessage(const char* platform, const char* display);

} // namespace qcphost
