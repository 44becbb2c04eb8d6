#pragma once
#include <string>
#include <vector>

#include "PluginLibrary.h"

namespace qcphost {

// Each command returns the process exit status, and takes its arguments as
// CommandLine accepted them. DriverCommand needs the plug-in loaded only to
// know where it lies; the others run against an initialised plug-in.
int DriverCommand(const PluginLibrary& plugin, const std::vector<std::string>& args);
int ListCommand(PluginLibrary& plugin);
int SettingsCommand(PluginLibrary& plugin, const std::vector<std::string>& args);
int CaptureCommand(PluginLibrary& plugin, const std::vector<std::string>& args);

} // namespace qcphost
