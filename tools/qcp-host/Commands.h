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
int ConfigureCommand(PluginLibrary& plugin, const std::vector<std::string>& args);
int ChooseRegionCommand(PluginLibrary& plugin, int display);

// Shared by the commands that take a settings record: checks the record
// (XML text, or @FILE) and applies it to the source, answering 0, or the
// exit status after saying on stderr why not; and prints a source's record.
int ApplySettingsArgument(PluginLibrary& plugin, const std::string& source, const std::string& argument);
void PrintSettings(PluginLibrary& plugin, const std::string& source);

} // namespace qcphost
