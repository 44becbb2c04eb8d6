#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "Displays.h"
#include "PluginLibrary.h"
#include "SettingsRecord.h"

namespace qcphost {

// What a settings record is checked against: what the plug-in lists.
struct SettingsChoices {
    std::vector<int32_t> types; // the "Type" options of the source's parameter list
    std::vector<DisplayInfo> displays;

    static SettingsChoices Read(PluginLibrary& plugin, const std::string& source);
    // The "Type" options of a parameter list text; none when it is not one.
    static std::vector<int32_t> ParseTypes(const std::string& xml);
};

// Why the plug-in would not do what the record asks: an unknown parameter, a
// value of the wrong form, a capture type, display or region it does not
// list. One line; empty when the record is good.
std::string SettingsProblem(const SettingsRecord& record, const SettingsChoices& choices);

} // namespace qcphost
