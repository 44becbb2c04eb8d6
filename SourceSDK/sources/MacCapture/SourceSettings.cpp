#include "SourceSettings.h"

#include "MacCaptureManager.h"
#include "MacCaptureWindowManager.h"
#include "PluginGlobals.h"
#include "VNAudioDriverManager.h"

namespace MC::SourceSettings {
namespace {

constexpr const char* kParameter = "parameter";
constexpr const char* kName = "name";
constexpr const char* kValue = "value";

zRecord& AddParameter(zRecord& record, const char* name) {
    zRecord& parameter = record.AddChild(kParameter);
    parameter.SetText(kName, name);
    return parameter;
}

// The window a settings record names, by title and application.
struct WindowChoice {
    std::string title;
    std::string application;
};

// The title and application of the source's window (or of the window its
// monitor follows), if it has one.
bool CurrentWindowChoice(MacCaptureManager& manager, const std::string& id, WindowChoice& choice) {
    MacCaptureWindowManager::RefreshLock inventory;
    const MacCaptureWindow* window = manager.getCaptureWindow(id);
    if (!window) return false;
    choice.title = window->name;
    choice.application = window->application ? window->application->name : std::string();
    return true;
}

// What the record remembers for after the loop.
struct Remembered {
    WindowChoice window;
    int32_t displayIndex = -1;
    zRect region;
    int32_t mode = -1;
};

void ApplyCaptureAudio(MacCaptureManager& manager, const std::string& id, bool wanted) {
    if (wanted) {
        VNAudioDriverManager::checkAndPromptToInstall(
            [id] {
                // Answered later, perhaps after the library is gone.
                if (g_pMacCaptureManager)
                    g_pMacCaptureManager->setCaptureAudio(id, VNAudioDriverManager::isInstalled());
            },
            true);
    }
    manager.setCaptureAudio(id, wanted && VNAudioDriverManager::isInstalled());
}

void ApplyParameter(MacCaptureManager& manager, const std::string& id, const zRecord& parameter,
                    Remembered& remembered) {
    const std::string name = parameter.AsText(kName, {});
    if (name == "Type")
        manager.setCaptureType(id, parameter.AsInt32(kValue, -1), nullptr);
    else if (name == "cursor")
        manager.setShowCursor(id, parameter.AsBool(kValue, true));
    else if (name == "capture_audio")
        ApplyCaptureAudio(manager, id, parameter.AsBool(kValue, true));
    else if (name == "capture_window")
        remembered.window.title = parameter.AsText(kValue, {});
    else if (name == "capture_app")
        remembered.window.application = parameter.AsText(kValue, {});
    else if (name == "capture_game_fullscreen")
        manager.setWindowCaptureFullscreen(id, parameter.AsBool(kValue, false));
    else if (name == "capture_monitor")
        remembered.displayIndex = parameter.AsInt32(kValue, -1);
    else if (name == "capture_monitor_region")
        remembered.region = parameter.AsRect(kValue, zRect());
    else if (name == "capture_monitor_state")
        remembered.mode = parameter.AsInt32(kValue, -1);
}

// Which window to look for: the record's, unless it names none or names a
// title without an application while a window is already captured, in which
// case the captured window stands.
bool ChooseWindow(const Remembered& remembered, bool hasCurrent, const WindowChoice& current, WindowChoice& chosen) {
    if (remembered.window.title.empty()) {
        if (!hasCurrent) return false;
        chosen = current;
        return true;
    }
    if (!hasCurrent && remembered.window.application.empty()) return false;
    chosen = (!hasCurrent || !remembered.window.application.empty()) ? remembered.window : current;
    return true;
}

void AimAtWindow(MacCaptureManager& manager, const std::string& id, const WindowChoice& choice) {
    MacCaptureWindowManager::refreshLists();
    int windowID = 0;
    {
        MacCaptureWindowManager::RefreshLock inventory;
        if (const MacCaptureWindow* window = MacCaptureWindowManager::getWindow(choice.title, choice.application))
            windowID = window->windowID;
    }
    if (windowID) manager.setCaptureWindow(id, windowID, false);
    if (manager.getCaptureType(id) == kCaptureGame)
        manager.startCaptureMonitorForSourceID(id, choice.title, choice.application);
}

} // namespace

void Write(MacCaptureManager& manager, const std::string& id, zRecord& settings) {
    AddParameter(settings, "Type").SetInt32(kValue, manager.getCaptureType(id));
    AddParameter(settings, "cursor").SetBool(kValue, manager.showCursor(id));
    AddParameter(settings, "capture_audio")
        .SetBool(kValue, manager.isCapturingAudio(id) && VNAudioDriverManager::isInstalled());
    AddParameter(settings, "capture_video").SetBool(kValue, manager.IsCaptureVideo(id));

    WindowChoice window;
    if (CurrentWindowChoice(manager, id, window)) {
        AddParameter(settings, "capture_window").SetText(kValue, window.title);
        if (!window.application.empty()) AddParameter(settings, "capture_app").SetText(kValue, window.application);
    } else if (manager.getCaptureMonitorAppWindowForSourceID(id, &window.application, &window.title)) {
        AddParameter(settings, "capture_window").SetText(kValue, window.title);
        AddParameter(settings, "capture_app").SetText(kValue, window.application);
    }

    AddParameter(settings, "capture_game_fullscreen").SetBool(kValue, manager.getWindowCaptureFullscreen(id));
    AddParameter(settings, "capture_monitor").SetInt32(kValue, manager.getCaptureDisplayIndex(id));
    zRect region;
    manager.getCaptureRegion(id, region);
    AddParameter(settings, "capture_monitor_region").SetRect(kValue, region);
    AddParameter(settings, "capture_monitor_state").SetInt32(kValue, int32_t(manager.getCaptureMode(id)));
}

void Apply(MacCaptureManager& manager, const std::string& id, const zRecord& settings) {
    // One change of the source from the first setting to the restart: a
    // window monitor's re-aim cannot interleave with it.
    const MacCaptureManager::SourceControl control = manager.control(id);
    if (!control) return;
    // Whether to capture video decides what the rest means, so it goes first.
    for (const zRecord& parameter : settings.Children()) {
        if (parameter.AsText(kName, {}) == "capture_video") {
            manager.SetCaptureVideo(id, parameter.AsBool(kValue, true));
            break;
        }
    }
    Remembered remembered;
    for (const zRecord& parameter : settings.Children()) ApplyParameter(manager, id, parameter, remembered);

    WindowChoice current;
    const bool hasCurrent = CurrentWindowChoice(manager, id, current);
    manager.stopCaptureMonitorForSourceID(id);
    if (WindowChoice chosen; ChooseWindow(remembered, hasCurrent, current, chosen)) AimAtWindow(manager, id, chosen);

    manager.setCaptureDisplayIndex(id, remembered.displayIndex == -1 ? 0 : remembered.displayIndex);
    if (remembered.mode == -1 || remembered.mode == kCaptureWholeDisplay) {
        if (remembered.region.HasArea()) manager.setCaptureRegion(id, remembered.region);
        manager.setCaptureMode(id, kCaptureWholeDisplay, nullptr);
    } else if (remembered.mode == kCaptureRegion) {
        manager.setCaptureMode(id, kCaptureRegion, &remembered.region);
    }

    if (manager.IsCaptureVideo(id)) {
        if (control->source->isRunng()) manager.stopSource(id);
        manager.startSource(id);
    } else {
        manager.stopSource(id);
    }
}

void WriteParameterList(bool capturesVideo, zRecord& list) {
    AddParameter(list, "capture_video");
    if (capturesVideo) {
        zRecord& type = AddParameter(list, "Type");
        for (int32_t value : {kCaptureDisplay, kCaptureWindow, kCaptureGame})
            type.AddChild("option").SetInt32(kValue, value);
        AddParameter(list, "cursor");
    }
    AddParameter(list, "capture_audio");
}

} // namespace MC::SourceSettings
