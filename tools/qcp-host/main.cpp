// qcp-host: the reference host. Loads the plug-in as a host application would
// and drives it through its C interface.
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include "HostStrings.h"
#include "PluginLibrary.h"

namespace {

constexpr const char* kUsage = R"(usage: qcp-host [--plugin PATH] COMMAND

Loads the capture plug-in (libMacCapture.so next to this program unless
--plugin or QCP_PLUGIN names another) and drives it as a host would.

Commands:
  list        the model, the devices with their categories and display
              names, and each device's sources
  help        this text

Environment:
  QCP_PLATFORM  sim or linux: the platform the plug-in uses (native by default)
  QCP_LOG       stderr or a file path: where the plug-in's trace goes
)";

void List(qcphost::PluginLibrary& plugin) {
    std::printf("model: %s\n",
                qcphost::QueryString([&](char* b, uint32_t* n) { plugin.QCP_GetModelInfo(nullptr, b, n); }).c_str());
    const int32_t devices = plugin.QCP_GetDeviceCount();
    std::printf("devices: %d\n", devices);
    for (int32_t d = 0; d < devices; ++d) {
        const std::string id = qcphost::QueryString([&](char* b, uint32_t* n) { plugin.QCP_GetDeviceId(d, b, n); });
        const std::string name = qcphost::QueryString(
            [&](char* b, uint32_t* n) { plugin.QCP_GetDeviceGroupDisplayNameForID(id.c_str(), nullptr, b, n); });
        std::printf("  %s  category %u  \"%s\"\n", id.c_str(), plugin.QCP_GetDeviceCategories(id.c_str()),
                    name.c_str());
        const uint32_t sources = plugin.QCP_GetSourceCount(id.c_str());
        if (sources == 0) std::printf("    (no sources)\n");
        for (uint32_t s = 0; s < sources; ++s) {
            const std::string source = qcphost::QueryString(
                [&](char* b, uint32_t* n) { plugin.QCP_GetSourceId(id.c_str(), s, b, n); });
            const std::string display = qcphost::QueryString([&](char* b, uint32_t* n) {
                plugin.QCP_GetSourceDisplayName(id.c_str(), source.c_str(), nullptr, b, n);
            });
            std::printf("    source \"%s\"  \"%s\"\n", source.c_str(), display.c_str());
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    std::string pluginPath = qcphost::PluginLibrary::DefaultPath();
    if (args.size() >= 2 && args[0] == "--plugin") {
        pluginPath = args[1];
        args.erase(args.begin(), args.begin() + 2);
    }
    if (args.empty() || args[0] == "help" || args[0] == "--help" || args[0] == "-h") {
        std::fputs(kUsage, args.empty() ? stderr : stdout);
        return args.empty() ? 2 : 0;
    }
    try {
        qcphost::PluginLibrary plugin(pluginPath);
        if (args[0] != "list") {
            std::fprintf(stderr, "qcp-host: unknown command '%s'\n\n%s", args[0].c_str(), kUsage);
            return 2;
        }
        plugin.QCP_IntitializeLibrary();
        List(plugin);
        plugin.QCP_UninitializeLibrary();
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "qcp-host: %s\n", error.what());
        return 1;
    }
}
