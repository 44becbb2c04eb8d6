#include "Displays.h"

#include "PluginSettings.h"

namespace qcphost {
namespace {
constexpr const char* kProbe = "qcp-host display probe";
// More displays than any desktop has; bounds the probe.
constexpr int kMostDisplays = 64;
} // namespace

int CountDisplays(PluginLibrary& plugin) {
    plugin.QCP_CreateNamedSource(QCP_SCREEN_DEVICE_ID, kProbe);
    int count = 0;
    for (; count < kMostDisplays; ++count) {
        SettingsRecord aim;
        aim.Add("capture_video", "false");
        aim.Add("Type", "0");
        aim.Add("capture_monitor", std::to_string(count));
        ApplySettings(plugin, kProbe, aim);
        SettingsRecord answer;
        std::string ignored;
        // A missing display leaves the source on the previous one, or on none (-1).
        if (!SettingsRecord::Parse(ReadSettingsText(plugin, kProbe), answer, ignored) ||
            answer.Value("capture_monitor") != std::to_string(count))
            break;
    }
    plugin.QCP_RemoveSource(QCP_SCREEN_DEVICE_ID, kProbe);
    return count;
}

std::string NoDisplaysMessage(const char* platform, const char* display) {
    const std::string name = platform ? platform : "";
    if (!name.empty() && name != "linux") return "no displays: the " + name + " platform offers none";
    if (!display || !*display) return "no displays: is an X server running? ($DISPLAY is unset)";
    return "no displays: is an X server running at " + std::string(display) +
           "? (QCP_LOG=stderr shows the plug-in's reason)";
}

} // namespace qcphost
