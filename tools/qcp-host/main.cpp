// qcp-host: the reference host. Loads the plug-in as a host application would
// and drives it through its C interface.
#include <csignal>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "CommandLine.h"
#include "Commands.h"
#include "EnglishTexts.h"
#include "PluginLibrary.h"

namespace {

int Run(qcphost::PluginLibrary& plugin, const qcphost::CommandLine& line) {
    if (line.command == "list") return qcphost::ListCommand(plugin);
    if (line.command == "settings") return qcphost::SettingsCommand(plugin, line.args);
    if (line.command == "configure") return qcphost::ConfigureCommand(plugin, line.args);
    if (line.command == "choose-region") return qcphost::ChooseRegionCommand(plugin, std::stoi(line.args[1]));
    return qcphost::CaptureCommand(plugin, line.args);
}

} // namespace

int main(int argc, char** argv) {
    // A recorder whose ffmpeg ended early must not take the host down.
    std::signal(SIGPIPE, SIG_IGN);
    const qcphost::CommandLine line = qcphost::CommandLine::Read({argv + 1, argv + argc});
    if (line.action == qcphost::CommandLine::Action::Help) {
        std::fputs(line.text.c_str(), stdout);
        return 0;
    }
    if (line.action == qcphost::CommandLine::Action::Refuse) {
        std::fprintf(stderr, "qcp-host: %s\n", line.text.c_str());
        return 2;
    }
    try {
        qcphost::PluginLibrary plugin(line.plugin.empty() ? qcphost::PluginLibrary::DefaultPath() : line.plugin);
        if (line.command == "driver") return qcphost::DriverCommand(plugin, line.args);
        // Before initialisation, so that even the first names the plug-in
        // makes are in English rather than its keys.
        plugin.QCP_RegisterLocalizeStringCallback(&qcphost::EnglishText);
        if (!plugin.QCP_IntitializeLibrary()) {
            std::fprintf(stderr, "qcp-host: the plug-in could not set up its platform (QCP_PLATFORM takes sim or "
                                 "linux; QCP_LOG=stderr shows why)\n");
            return 1;
        }
        const int status = Run(plugin, line);
        plugin.QCP_UninitializeLibrary();
        return status;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "qcp-host: %s\n", error.what());
        return 1;
    }
}
