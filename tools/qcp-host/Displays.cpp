#include "Displays.h"

#include <fmt/format.h>

#include <cmath>
#include <string_view>

#include <pugixml.hpp>

#include "HostStrings.h"
#include "Region.h"
#include "WholeNumber.h"

namespace qcphost {
namespace {

bool Positive(std::string_view text, double& value) {
    return ReadWholeNumber(text, value) && std::isfinite(value) && value > 0;
}

} // namespace

std::vector<DisplayInfo> ReadDisplays(PluginLibrary& plugin) {
    const std::optional<std::string> xml = ReadTextProperty(plugin, "ScreenCaptureDisplays");
    return xml ? ParseDisplays(*xml) : std::vector<DisplayInfo>{};
}

std::vector<DisplayInfo> ParseDisplays(const std::string& xml) {
    std::vector<DisplayInfo> displays;
    pugi::xml_document document;
    if (!document.load_buffer(xml.data(), xml.size())) return displays;
    for (const pugi::xml_node node : document.child("displays").children("display")) {
        DisplayInfo display;
        display.name = node.attribute("name").value();
        if (ReadWholeNumber(node.attribute("index").value(), display.index) && display.index >= 0 &&
            ReadWholeNumber(node.attribute("id").value(), display.id) && display.id != 0 &&
            Positive(node.attribute("width").value(), display.width) &&
            Positive(node.attribute("height").value(), display.height) &&
            Positive(node.attribute("scale").value(), display.scale))
            displays.push_back(std::move(display));
    }
    return displays;
}

const DisplayInfo* FindDisplay(const std::vector<DisplayInfo>& displays, int index) {
    for (const DisplayInfo& display : displays)
        if (display.index == index) return &display;
    return nullptr;
}

std::string RegionProblem(const DisplayInfo& display, int32_t left, int32_t top, int32_t right, int32_t bottom) {
    const Region region{left, top, right, bottom};
    const std::string which = fmt::format("display {} ({} x {} points)", display.index, display.width, display.height);
    if (!region.HasArea()) return "region " + region.Text() + " has no area";
    // Inclusive edges: the last point of a 1920-point row is 1919.
    if (left >= 0 && top >= 0 && right + 1.0 <= display.width && bottom + 1.0 <= display.height) return {};
    if (right < 0 || bottom < 0 || double(left) >= display.width || double(top) >= display.height)
        return "region " + region.Text() + " lies outside " + which;
    return "region " + region.Text() + " extends past " + which;
}

std::string NoSuchDisplayMessage(const std::vector<DisplayInfo>& displays, int index) {
    return fmt::format("no display {}; the plug-in lists {} (0 to {})", index, displays.size(), displays.size() - 1);
}

std::string NoDisplaysMessage(const char* platform, const char* display) {
    const std::string name = platform ? platform : "";
    if (!name.empty() && name != "linux") return "no displays: the " + name + " platform offers none";
    if (!display || !*display) return "no displays: is an X server running? ($DISPLAY is unset)";
    return "no displays: is an X server running at " + std::string(display) +
           "? (QCP_LOG=stderr shows the plug-in's reason)";
}

} // namespace qcphost
