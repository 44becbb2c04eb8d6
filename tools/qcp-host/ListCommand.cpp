// `qcp-host list`: the model, devices, sources, displays, applications and
// windows.
#include <fmt/format.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "Commands.h"
#include "Displays.h"
#include "HostStrings.h"
#include "WindowCatalogue.h"

namespace qcphost {
namespace {

void ListDevices(PluginLibrary& plugin) {
    const int32_t devices = plugin.QCP_GetDeviceCount();
    std::printf("devices: %d\n", devices);
    for (int32_t d = 0; d < devices; ++d) {
        const std::string id = QueryString([&](char* b, uint32_t* n) { plugin.QCP_GetDeviceId(d, b, n); });
        const std::string name = QueryString(
            [&](char* b, uint32_t* n) { plugin.QCP_GetDeviceGroupDisplayNameForID(id.c_str(), nullptr, b, n); });
        std::printf("  %s  category %u  \"%s\"\n", id.c_str(), plugin.QCP_GetDeviceCategories(id.c_str()),
                    name.c_str());
        const uint32_t sources = plugin.QCP_GetSourceCount(id.c_str());
        if (sources == 0) std::printf("    (no sources)\n");
        for (uint32_t s = 0; s < sources; ++s) {
            const std::string source =
                QueryString([&](char* b, uint32_t* n) { plugin.QCP_GetSourceId(id.c_str(), s, b, n); });
            const std::string display = QueryString([&](char* b, uint32_t* n) {
                plugin.QCP_GetSourceDisplayName(id.c_str(), source.c_str(), nullptr, b, n);
            });
            std::printf("    source \"%s\"  \"%s\"\n", source.c_str(), display.c_str());
        }
    }
}

void ListDisplays(PluginLibrary& plugin) {
    const std::vector<DisplayInfo> displays = ReadDisplays(plugin);
    std::printf("displays: %zu\n", displays.size());
    for (const DisplayInfo& display : displays)
        fmt::print("  {}  id {}  \"{}\"  {} x {} points, scale {} ({} x {} pixels)\n", display.index, display.id,
                   display.name, display.width, display.height, display.scale,
                   std::lround(display.width * display.scale), std::lround(display.height * display.scale));
    if (displays.empty())
        std::fprintf(stderr, "qcp-host: %s\n",
                     NoDisplaysMessage(std::getenv("QCP_PLATFORM"), std::getenv("DISPLAY")).c_str());
}

void ListApplications(PluginLibrary& plugin) {
    const WindowCatalogue catalogue = WindowCatalogue::Read(plugin);
    if (!catalogue.answered) {
        std::printf("applications: (no answer)\n");
        return;
    }
    std::printf("applications: %zu\n", catalogue.applications.size());
    for (const WindowCatalogue::Application& app : catalogue.applications) {
        std::printf("  %s  (%s, %zu windows)\n", app.name.c_str(), app.id.c_str(), app.windows.size());
        for (const WindowCatalogue::Window& window : app.windows)
            std::printf("    \"%s\"  (%s)\n", window.title.c_str(), window.id.c_str());
    }
}

} // namespace

int ListCommand(PluginLibrary& plugin) {
    std::printf("model: %s\n",
                QueryString([&](char* b, uint32_t* n) { plugin.QCP_GetModelInfo(nullptr, b, n); }).c_str());
    ListDevices(plugin);
    ListDisplays(plugin);
    ListApplications(plugin);
    return 0;
}

} // namespace qcphost
