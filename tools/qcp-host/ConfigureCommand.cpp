// `qcp-host configure SOURCE [XML|@FILE]` and `qcp-host choose-region
// --display N`: the plug-in's selection dialog, answered at the screen.
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstdio>
#include <thread>

#include "Commands.h"
#include "Displays.h"
#include "PluginSettings.h"
#include "StopSignals.h"

namespace qcphost {
namespace {

constexpr auto kPollInterval = std::chrono::milliseconds(50);

bool SelectionOpen(PluginLibrary& plugin, const std::string& source) {
    int32_t open = 0;
    const auto answer = [](void* context, QCP_PropertyType type, void* value) {
        if (type == QCP_PROPERTY_INT32) *static_cast<int32_t*>(context) = *static_cast<const int32_t*>(value);
    };
    plugin.QCP_GetProperty(&open, answer, "ScreenCaptureSelectionOpen", QCP_SCREEN_DEVICE_ID, source.c_str());
    return open == 1;
}

// Opens the dialog for `source` and waits for the user: 0 answered with OK
// (the settings are applied), 3 cancelled, 1 no dialog could be shown or a
// signal ended the wait (the dialog is then closed).
int AwaitAnswer(PluginLibrary& plugin, const std::string& source) {
    std::atomic<bool> changed{false};
    const auto changedCallback = [](void* context, int event) {
        if (event == QCP_EVENT_SETTINGS_CHANGED) static_cast<std::atomic<bool>*>(context)->store(true);
    };
    plugin.QCP_RegisterSourceChangedCallback(QCP_SCREEN_DEVICE_ID, source.c_str(), changedCallback, &changed);
    plugin.QCP_ShowCustomConfigDialog(QCP_SCREEN_DEVICE_ID, source.c_str(), 0);
    if (!SelectionOpen(plugin, source)) {
        std::fprintf(stderr, "qcp-host: the plug-in showed no dialog (no display, or built without windows)\n");
        return 1;
    }
    StopSignals stop;
    while (SelectionOpen(plugin, source) && !stop.received()) std::this_thread::sleep_for(kPollInterval);
    if (stop.received()) {
        plugin.QCP_RemoveSource(QCP_SCREEN_DEVICE_ID, source.c_str()); // closes the dialog
        std::fprintf(stderr, "qcp-host: stopped by %s\n", stop.name());
        return 1;
    }
    plugin.QCP_RegisterSourceChangedCallback(QCP_SCREEN_DEVICE_ID, source.c_str(), nullptr, nullptr);
    if (!changed) {
        std::fprintf(stderr, "qcp-host: cancelled\n");
        return 3;
    }
    return 0;
}

} // namespace

int ConfigureCommand(PluginLibrary& plugin, const std::vector<std::string>& args) {
    const std::string& source = args[0];
    plugin.QCP_CreateNamedSource(QCP_SCREEN_DEVICE_ID, source.c_str());
    if (args.size() > 1)
        if (const int status = ApplySettingsArgument(plugin, source, args[1])) return status;
    if (const int status = AwaitAnswer(plugin, source)) return status;
    PrintSettings(plugin, source);
    return 0;
}

int ChooseRegionCommand(PluginLibrary& plugin, int display) {
    const std::vector<DisplayInfo> displays = ReadDisplays(plugin);
    if (displays.empty()) {
        std::fprintf(stderr, "qcp-host: %s\n",
                     NoDisplaysMessage(std::getenv("QCP_PLATFORM"), std::getenv("DISPLAY")).c_str());
        return 1;
    }
    if (!FindDisplay(displays, display)) {
        std::fprintf(stderr, "qcp-host: %s\n", NoSuchDisplayMessage(displays, display).c_str());
        return 2;
    }
    const std::string source = "choose-region";
    plugin.QCP_CreateNamedSource(QCP_SCREEN_DEVICE_ID, source.c_str());
    // The whole display to start from: choosing the region entry then opens
    // the selector with a rectangle proposed in its middle.
    SettingsRecord settings;
    settings.Add("Type", "0");
    settings.Add("capture_monitor", std::to_string(display));
    settings.Add("capture_monitor_state", "0");
    ApplySettings(plugin, source, settings);
    if (const int status = AwaitAnswer(plugin, source)) return status;
    SettingsRecord answer;
    std::string error;
    SettingsRecord::Parse(ReadSettingsText(plugin, source), answer, error);
    if (answer.Value("capture_monitor_state") != "1") {
        std::fprintf(stderr, "qcp-host: the whole display was chosen, not a region\n");
        return 3;
    }
    // As --region takes it.
    std::printf("%s\n", answer.Value("capture_monitor_region").value_or("").c_str());
    return 0;
}

} // namespace qcphost
