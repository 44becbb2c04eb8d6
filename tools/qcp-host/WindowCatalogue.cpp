#include "WindowCatalogue.h"

#include <strings.h>

#include <pugixml.hpp>

#include "HostStrings.h"

namespace qcphost {

WindowCatalogue WindowCatalogue::Read(PluginLibrary& plugin) {
    const std::optional<std::string> xml = ReadTextProperty(plugin, "ScreenCaptureAppsAndWindows");
    return xml ? Parse(*xml) : WindowCatalogue{};
}

WindowCatalogue WindowCatalogue::Parse(const std::string& xml) {
    WindowCatalogue catalogue;
    pugi::xml_document document;
    if (!document.load_buffer(xml.data(), xml.size())) return catalogue;
    catalogue.answered = true;
    for (const pugi::xml_node app : document.child("apps").children("app")) {
        Application application{app.attribute("name").value(), app.attribute("id").value(), {}};
        for (const pugi::xml_node window : app.children("window"))
            application.windows.push_back({window.attribute("name").value(), window.attribute("id").value()});
        catalogue.applications.push_back(std::move(application));
    }
    return catalogue;
}

bool WindowCatalogue::Has(const std::string& title, const std::string& application) const {
    for (const Application& app : applications) {
        if (strcasecmp(app.name.c_str(), application.c_str()) != 0) continue;
        for (const Window& window : app.windows)
            if (strcasecmp(window.title.c_str(), title.c_str()) == 0) return true;
    }
    return false;
}

} // namespace qcphost
