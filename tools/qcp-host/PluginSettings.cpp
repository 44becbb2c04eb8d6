#include "PluginSettings.h"

namespace qcphost {

std::string ReadSettingsText(PluginLibrary& plugin, const std::string& source) {
    // The fill copies exactly the queried length and adds no NUL.
    uint32_t length = 0;
    plugin.QCP_GetSourceSettings(QCP_SCREEN_DEVICE_ID, source.c_str(), nullptr, &length);
    std::string xml(length, '\0');
    plugin.QCP_GetSourceSettings(QCP_SCREEN_DEVICE_ID, source.c_str(), xml.data(), &length);
    return xml;
}

void ApplySettings(PluginLibrary& plugin, const std::string& source, const SettingsRecord& settings) {
    plugin.QCP_SetSourceSettings(QCP_SCREEN_DEVICE_ID, source.c_str(), settings.ToXml().c_str());
}

} // namespace qcphost
