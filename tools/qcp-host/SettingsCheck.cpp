#include "SettingsCheck.h"

#include <algorithm>
#include <optional>
#include <string_view>

#include <pugixml.hpp>

#include "Region.h"
#include "WholeNumber.h"

namespace qcphost {
namespace {

enum class Kind { Boolean, Text, Type, Display, Mode, Region };

struct Parameter {
    std::string_view name;
    Kind kind;
};

// Every parameter the plug-in's settings record has, in its order.
constexpr Parameter kParameters[] = {
    {"Type", Kind::Type},
    {"cursor", Kind::Boolean},
    {"capture_audio", Kind::Boolean},
    {"capture_video", Kind::Boolean},
    {"capture_window", Kind::Text},
    {"capture_app", Kind::Text},
    {"capture_game_fullscreen", Kind::Boolean},
    {"capture_monitor", Kind::Display},
    {"capture_monitor_region", Kind::Region},
    {"capture_monitor_state", Kind::Mode},
};

std::optional<int32_t> Integer(std::string_view text) {
    int32_t value = 0;
    if (!ReadWholeNumber(text, value)) return std::nullopt;
    return value;
}

template <class List, class Text>
std::string Joined(const List& items, Text&& text) {
    std::string joined;
    for (const auto& item : items) joined += (joined.empty() ? "" : ", ") + text(item);
    return joined.empty() ? "none" : joined;
}

std::string Quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

std::string KnownNames() {
    return Joined(kParameters, [](const Parameter& parameter) { return std::string(parameter.name); });
}

// Why one parameter's value is refused, apart from its region's display.
std::string ValueProblem(const Parameter& parameter, const std::string& value, const SettingsChoices& choices) {
    const std::string name = Quoted(parameter.name);
    const std::optional<int32_t> number = Integer(value);
    switch (parameter.kind) {
    case Kind::Text:
        return {};
    case Kind::Boolean:
        if (value == "true" || value == "false") return {};
        return name + " takes true or false, not " + Quoted(value);
    case Kind::Type:
        if (number && std::count(choices.types.begin(), choices.types.end(), *number)) return {};
        return name + " " + value + " is not a capture type the plug-in lists (" +
               Joined(choices.types, [](int32_t type) { return std::to_string(type); }) + ")";
    case Kind::Display:
        if (number && (*number == -1 || FindDisplay(choices.displays, *number))) return {};
        return name + " " + value + " is not -1 or a display the plug-in lists (" +
               Joined(choices.displays, [](const DisplayInfo& display) { return std::to_string(display.index); }) +
               ")";
    case Kind::Mode:
        if (number && *number >= -1 && *number <= 1) return {};
        return name + " takes -1, 0 (whole display) or 1 (region), not " + Quoted(value);
    case Kind::Region:
        // A rectangle without area, "0,0,-1,-1" the plug-in's own, means none;
        // reversed edges are a mistake.
        if (const std::optional<Region> region = Region::Parse(value); region && region->Width() >= 0 &&
                                                                       region->Height() >= 0)
            return {};
        return name + " takes LEFT,TOP,RIGHT,BOTTOM (integers, edges inclusive; 0,0,-1,-1 for none), not " +
               Quoted(value);
    }
    return {};
}

} // namespace

SettingsChoices SettingsChoices::Read(PluginLibrary& plugin, const std::string& source) {
    // The size query reports 0 even when it succeeds; the fill copies exactly
    // that many bytes, no NUL.
    uint32_t length = 0;
    plugin.QCP_GetValidParameterValues(QCP_SCREEN_DEVICE_ID, source.c_str(), nullptr, &length);
    std::string xml(length, '\0');
    if (length) plugin.QCP_GetValidParameterValues(QCP_SCREEN_DEVICE_ID, source.c_str(), xml.data(), &length);
    return {ParseTypes(xml), ReadDisplays(plugin)};
}

std::vector<int32_t> SettingsChoices::ParseTypes(const std::string& xml) {
    std::vector<int32_t> types;
    pugi::xml_document document;
    if (!document.load_buffer(xml.data(), xml.size())) return types;
    const pugi::xml_node type = document.child("source").find_child_by_attribute("parameter", "name", "Type");
    for (const pugi::xml_node option : type.children("option"))
        if (const std::optional<int32_t> value = Integer(option.attribute("value").value())) types.push_back(*value);
    return types;
}

std::string SettingsProblem(const SettingsRecord& record, const SettingsChoices& choices) {
    // The plug-in takes the last of a repeated parameter.
    std::optional<int32_t> display;
    std::optional<Region> region;
    for (const auto& given : record.parameters()) {
        const std::string& name = given.first;
        const std::string& value = given.second;
        const auto parameter = std::find_if(std::begin(kParameters), std::end(kParameters),
                                            [&](const Parameter& known) { return known.name == name; });
        if (parameter == std::end(kParameters))
            return "unknown parameter " + Quoted(name) + "; the settings are " + KnownNames();
        if (std::string problem = ValueProblem(*parameter, value, choices); !problem.empty()) return problem;
        if (parameter->kind == Kind::Display) display = Integer(value);
        if (parameter->kind == Kind::Region) region = Region::Parse(value);
    }
    const DisplayInfo* aimed = display ? FindDisplay(choices.displays, *display) : nullptr;
    if (!aimed || !region || !region->HasArea()) return {};
    const std::string problem = RegionProblem(*aimed, region->left, region->top, region->right, region->bottom);
    return problem.empty() ? problem : Quoted("capture_monitor_region") + ": " + problem;
}

} // namespace qcphost
