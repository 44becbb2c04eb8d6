// `qcp-host list`: the model, devices, sources, applications and windows.
#include <cstdio>

#include <pugixml.hpp>

#include "Commands.h"
#include "HostStrings.h"

namespace qcphost {
namespace {

void Answer(void* context, QCP_PropertyType type, void* value) {
    if (type == QCP_PROPERTY_TEXT) *static_cast<std::string*>(context) = static_cast<const char*>(value);
}

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

void ListApplications(PluginLibrary& plugin) {
    std::string xml;
    if (!plugin.QCP_GetProperty(&xml, &Answer, "ScreenCaptureAppsAndWindows", QCP_SCREEN_DEVICE_ID, nullptr)) {
        std::printf("applications: (no answer)\n");
        return;
    }
    pugi::xml_document document;
    if (!document.load_string(xml.c_str())) {
        std::printf("applications: (unreadable answer)\n");
        return;
    }
    const pugi::xml_node apps = document.child("apps");
    std::printf("applications: %u\n", apps.attribute("count").as_uint());
    for (const pugi::xml_node app : apps.children("app")) {
        std::printf("  %s  (%s, %u windows)\n", app.attribute("name").value(), app.attribute("id").value(),
                    app.attribute("windows").as_uint());
        for (const pugi::xml_node window : app.children("window"))
            std::printf("    \"%s\"  (%s)\n", window.attribute("name").value(), window.attribute("id").value());
    }
}

} // namespace

int ListCommand(PluginLibrary& plugin) {
    std::printf("model: %s\n",
                QueryString([&](char* b, uint32_t* n) { plugin.QCP_GetModelInfo(nullptr, b, n); }).c_str());
    ListDevices(plugin);
    ListApplications(plugin);
    return 0;
}

} // namespace qcphost
