#pragma once
#include <string>
#include <vector>

#include "PluginLibrary.h"

namespace qcphost {

// Each command runs against an initialised plug-in and returns the process
// exit status.
int ListCommand(PluginLibrary& plugin);
int SettingsCommand(PluginLibrary& plugin, const std::vector<std::string>& args);
int CaptureCommand(PluginLibrary& plugin, const std::vector<std::string>& args);

} // namespace qcphost
