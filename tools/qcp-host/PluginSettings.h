#pragma once
#include <string>

#include "PluginLibrary.h"
#include "SettingsRecord.h"

namespace qcphost {

// A screen source's settings record as the plug-in writes it. Fetching the
// settings of a source that captures video but is not running starts it.
std::string ReadSettingsText(PluginLibrary& plugin, const std::string& source);
void ApplySettings(PluginLibrary& plugin, const std::string& source, const SettingsRecord& settings);

} // namespace qcphost
