// Named questions about a device or source, answered through a host callback
// with a typed value that is valid only during the call.
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "EntryPointSupport.h"
#include "MacCaptureDisplayUtils.h"
#include "MacCaptureWindowManager.h"
#include "PluginGlobals.h"
#include "QCP_API.h"
#include "zXML.h"

namespace {

void AnswerInt(void* context, QCP_PropertyCallback callback, int32_t value) {
    callback(context, QCP_PROPERTY_INT32, &value);
}

void AnswerText(void* context, QCP_PropertyCallback callback, const std::string& text) {
    callback(context, QCP_PROPERTY_TEXT, const_cast<char*>(text.c_str()));
}

bool RecordText(const zRecord& record, std::string& xml) {
    zBuffer buffer;
    if (!zXML::RecordToBuffer(record, buffer)) return false;
    xml.assign(buffer.View());
    return true;
}

// The applications and their windows, as the "apps" record.
bool AppsAndWindowsXml(std::string& xml) {
    zRecord apps("apps");
    MC::MacCaptureWindowManager::RefreshLock inventory;
    MC::MacCaptureWindowManager::refreshLists();
    std::vector<MC::MacCaptureApplication*> applications;
    MC::MacCaptureWindowManager::getApplicationList(applications);
    apps.SetUInt32("count", uint32_t(applications.size()));
    for (const MC::MacCaptureApplication* application : applications) {
        char appID[32];
        std::snprintf(appID, sizeof appID, "pid %i", application->pid);
        zRecord& app = apps.AddChild("app");
        app.SetText("name", application->name);
        app.SetText("id", appID);
        app.SetUInt32("windows", uint32_t(application->windows.size()));
        for (const auto& window : application->windows) {
            zRecord& entry = app.AddChild("window");
            entry.SetText("name", window->name);
            entry.SetText("id", std::string(appID) + ", window " + std::to_string(window->windowID));
        }
    }
    return RecordText(apps, xml);
}

// The displays in the platform's order, as the "displays" record: the
// interface has no other display list, and a host needs one to offer a
// display index and to keep a region inside its display.
bool DisplaysXml(std::string& xml) {
    const std::vector<qcp::platform::ScreenInfo> screens = MC::currentScreens();
    zRecord displays("displays");
    displays.SetUInt32("count", uint32_t(screens.size()));
    for (size_t index = 0; index < screens.size(); ++index) {
        const qcp::platform::ScreenInfo& screen = screens[index];
        zRecord& display = displays.AddChild("display");
        display.SetInt32("index", int32_t(index));
        display.SetUInt32("id", screen.displayID);
        display.SetText("name", MC::displayName(screen));
        // Shortest texts that read back as the same numbers: 1920, 1440.5.
        display.SetText("width", fmt::format("{}", screen.frame.width));
        display.SetText("height", fmt::format("{}", screen.frame.height));
        display.SetText("scale", fmt::format("{}", screen.backingScale));
    }
    return RecordText(displays, xml);
}

// How the source captures: "Fullscreen", "Screen Region", "Window" or "Game".
bool Subtype(const std::string& id, std::string& text) {
    MC::MacCaptureManager& manager = qcp::Manager();
    switch (manager.getCaptureType(id)) {
    case MC::kCaptureDisplay:
        if (manager.getCaptureMode(id) == MC::kCaptureWholeDisplay) text = "Fullscreen";
        if (manager.getCaptureMode(id) == MC::kCaptureRegion) text = "Screen Region";
        return !text.empty();
    case MC::kCaptureWindow: text = "Window"; return true;
    case MC::kCaptureGame: text = "Game"; return true;
    default: return false;
    }
}

// The captured application (for window and game sources) and whether system
// audio is on.
bool TertiaryType(const std::string& id, std::string& text) {
    constexpr const char* kAudio = "System Audio Enabled";
    MC::MacCaptureManager& manager = qcp::Manager();
    const bool audio = manager.isCapturingAudio(id);
    const int32_t type = manager.getCaptureType(id);
    if (type != MC::kCaptureWindow && type != MC::kCaptureGame) {
        text = audio ? kAudio : "";
        return true;
    }
    MC::MacCaptureWindowManager::RefreshLock inventory;
    const MC::MacCaptureWindow* window = manager.getCaptureWindow(id);
    if (!window || !window->application) return false;
    text = window->application->name + (audio ? std::string(", ") + kAudio : std::string());
    return true;
}

} // namespace

extern "C" {

int QCP_GetProperty(void* context, QCP_PropertyCallback callback, const char* property, const char* deviceId,
                    const char* sourceId) {
    return qcp::Guarded(__func__, 0, [&] {
        if (!callback || !property) return 0;
        const std::string_view name = property;
        if (name == "supports_dynamic_sources") {
            AnswerInt(context, callback, qcp::IsAudioDevice(deviceId) ? 0 : 1);
            return 1;
        }
        if (name == "NumChannels") {
            AnswerInt(context, callback, 2);
            return 1;
        }
        std::string text;
        if (name == "ScreenCaptureAppsAndWindows") {
            if (!AppsAndWindowsXml(text)) return 0;
            AnswerText(context, callback, text);
            return 1;
        }
        if (name == "ScreenCaptureDisplays") {
            if (qcp::IsAudioDevice(deviceId) || !DisplaysXml(text)) return 0;
            AnswerText(context, callback, text);
            return 1;
        }
        if (qcp::IsAudioDevice(deviceId) || !sourceId || !qcp::Manager().findRecord(sourceId))
            return 0;
        if (name == "ScreenCaptureSelectionOpen") {
            AnswerInt(context, callback, qcp::Manager().isSelectionPromptOpen(sourceId) ? 1 : 0);
            return 1;
        }
        const bool answered = (name == "analytics_subtype" && Subtype(sourceId, text)) ||
                              (name == "analytics_tertiary_type" && TertiaryType(sourceId, text));
        if (answered) AnswerText(context, callback, text);
        return answered ? 1 : 0;
    });
}

} // extern "C"
