// `qcp-host settings get|set SOURCE [XML | @FILE]`: a source's settings record.
#include <cstdio>
#include <fstream>
#include <sstream>

#include "Commands.h"
#include "PluginSettings.h"
#include "SettingsCheck.h"
#include "SettingsRecord.h"

namespace qcphost {
namespace {

bool ReadXml(const std::string& argument, std::string& xml) {
    if (argument.empty() || argument[0] != '@') {
        xml = argument;
        return true;
    }
    std::ifstream file(argument.substr(1), std::ios::binary);
    if (!file) return false;
    std::ostringstream text;
    text << file.rdbuf();
    xml = text.str();
    return true;
}

} // namespace

int ApplySettingsArgument(PluginLibrary& plugin, const std::string& source, const std::string& argument) {
    std::string xml;
    if (!ReadXml(argument, xml)) {
        std::fprintf(stderr, "qcp-host: cannot read %s\n", argument.c_str() + 1);
        return 1;
    }
    // The plug-in ignores a text it cannot read without a word: say so here.
    SettingsRecord record;
    std::string error;
    if (!SettingsRecord::Parse(xml, record, error)) {
        std::fprintf(stderr, "qcp-host: the settings are %s\n", error.c_str());
        return 2;
    }
    // The plug-in also takes values it cannot use, a capture type, display
    // or region it does not have, and then captures nothing: say so here.
    if (const std::string problem = SettingsProblem(record, SettingsChoices::Read(plugin, source)); !problem.empty()) {
        std::fprintf(stderr, "qcp-host: the settings are refused: %s\n", problem.c_str());
        return 2;
    }
    plugin.QCP_SetSourceSettings(QCP_SCREEN_DEVICE_ID, source.c_str(), xml.c_str());
    return 0;
}

void PrintSettings(PluginLibrary& plugin, const std::string& source) {
    const std::string settings = ReadSettingsText(plugin, source);
    std::fwrite(settings.data(), 1, settings.size(), stdout);
    if (!settings.empty() && settings.back() != '\n') std::fputc('\n', stdout);
}

int SettingsCommand(PluginLibrary& plugin, const std::vector<std::string>& args) {
    const std::string& source = args[1];
    // Every run of the host starts with an empty registry: make the source.
    plugin.QCP_CreateNamedSource(QCP_SCREEN_DEVICE_ID, source.c_str());
    if (args[0] == "set")
        if (const int status = ApplySettingsArgument(plugin, source, args[2])) return status;
    PrintSettings(plugin, source);
    return 0;
}

} // namespace qcphost
