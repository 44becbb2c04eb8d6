#pragma once
#include <string>
#include <vector>

#include "PluginLibrary.h"

namespace qcphost {

// The applications and windows the plug-in offers for capture.
struct WindowCatalogue {
    struct Window {
        std::string title;
        std::string id;
    };
    struct Application {
        std::string name;
        std::string id;
        std::vector<Window> windows;
    };

    bool answered = false;
    std::vector<Application> applications;

    static WindowCatalogue Read(PluginLibrary& plugin);
    // The plug-in's "apps" text; not answered when it is not well-formed.
    static WindowCatalogue Parse(const std::string& xml);
    // Whether a window of that title and application exists, in any letter case.
    bool Has(const std::string& title, const std::string& application) const;
};

} // namespace qcphost
