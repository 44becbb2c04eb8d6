// What a screen source captures: its type, display, mode and window, applied
// to the record and to the capture source in a fixed order.
#include <optional>

#include "MacCaptureDisplayUtils.h"
#include "MacCaptureManager.h"
#include "MacCaptureWindowManager.h"
#include "Selection/MacCaptureSelectionDialog.h"
#include "CommonSDKVariables.h"
#include "Platform.h"

namespace MC {

namespace {
std::string Localised(const char* key) {
    const char* text = CSDK::TranslateString(key);
    return text ? text : key;
}
} // namespace

void MacCaptureManager::showCloseSelectionDialogAlert() const {
    qcp::platform::Alert alert;
    alert.message = Localised("obr_close_mon_win_dialog");
    alert.informativeText = Localised("obr_close_mon_win_dialog_msg");
    alert.buttons = {Localised("dialog_ok")};
    // On the selection window when it is open, else on its own.
    if (!fSelectionDialog->showAlertSheet(alert)) qcp::platform::Current()->system().showAlertSheet(alert);
}

void MacCaptureManager::setCaptureType(const std::string& id, int32_t type, const zRect* region) {
    if (fSelectionPromptShown) {
        showCloseSelectionDialogAlert();
        return;
    }
    const SourceControl info = control(id);
    if (!info) return;
    info->captureType = type;
    if (type == kCaptureWindow) {
        int windowID = 0;
        {
            MacCaptureWindowManager::RefreshLock inventory;
            if (MacCaptureWindow* window = MacCaptureWindowManager::getWindowForID(info->windowID))
                windowID = window->windowID;
        }
        if (windowID) setCaptureWindow(id, windowID, false);
        return;
    }
    if (type != kCaptureDisplay && type != kCaptureGame) return;
    const int index = indexFromDisplayID(info->displayID);
    setCaptureDisplayIndex(id, index < 0 ? 0 : index);
    if (region)
        setCaptureMode(id, kCaptureRegion, region);
    else
        setCaptureMode(id, kCaptureWholeDisplay, nullptr);
}

void MacCaptureManager::setCaptureDisplayIndex(const std::string& id, int index) {
    const SourceControl info = control(id);
    if (!info) return;
    {
        MacCaptureWindowManager::RefreshLock inventory;
        const MacCaptureDisplay* display = MacCaptureWindowManager::getDisplay(unsigned(index));
        if (!display) return;
        info->displayID = display->displayID;
    }
    if (info->displayIndex != index) {
        if (info->captureMode == kCaptureRegion) {
            const zRect region = info->getRegion();
            setCaptureMode(id, kCaptureRegion, &region);
        } else {
            setCaptureMode(id, info->captureMode, nullptr);
        }
        info->displayIndex = index;
    }
}

int32_t MacCaptureManager::getCaptureDisplayIndex(const std::string& id) {
    // A read that repairs the record after an unplug: it takes no control
    // lock, so a host may call it while another thread stops the source;
    // the values it stores are what any change would store as well.
    const RecordRef info = findRecord(id);
    if (!info || info->displayID == 0) return -1;
    MacCaptureWindowManager::refreshLists();
    if (const int index = indexFromDisplayID(info->displayID); index >= 0) {
        info->displayIndex = index;
        return index;
    }
    // The display was unplugged: take whichever display now has its index,
    // else the main display.
    const int32_t storedIndex = info->displayIndex;
    if (const unsigned displayID = displayIDFromIndex(storedIndex)) {
        info->displayID = displayID;
        return storedIndex;
    }
    if (const unsigned mainID = displayIDFromIndex(0)) {
        info->displayID = mainID;
        info->displayIndex = 0;
        return 0;
    }
    info->displayID = 0;
    return -1;
}

void MacCaptureManager::setCaptureMode(const std::string& id, int mode, const zRect* region) {
    const SourceControl info = control(id);
    if (!info) return;
    MacCaptureSource& source = *info->source;
    struct Screen {
        uint32_t displayID;
        float width, height;
    };
    std::optional<Screen> display;
    {
        MacCaptureWindowManager::RefreshLock inventory;
        if (const MacCaptureDisplay* found = MacCaptureWindowManager::getDisplay(unsigned(info->displayIndex)))
            display = Screen{found->displayID, found->width, found->height};
    }
    const bool displaySource = info->captureType == kCaptureDisplay && display;
    if (mode == kCaptureRegion && region && region->HasArea()) {
        if (displaySource) {
            source.setCaptureFrame(float(region->left), float(region->top), float(region->Width()),
                                   float(region->Height()));
            source.setOutputSize(float(region->Width()), float(region->Height()));
        }
        info->enableRegionCapture(region);
        if (displaySource) source.setCaptureDisplay(display->displayID);
        return;
    }
    if (!displaySource) return;
    source.setCaptureFrame(0, 0, display->width, display->height);
    source.setOutputSize(display->width, display->height);
    info->disableRegionCapture();
    source.setCaptureDisplay(display->displayID);
}

void MacCaptureManager::setCaptureWindow(const std::string& id, int windowID, bool retarget) {
    const SourceControl info = control(id);
    if (!info) return;
    info->windowID = windowID;
    MacCaptureWindowManager::RefreshLock inventory;
    MacCaptureWindow* window = MacCaptureWindowManager::getWindowForID(windowID);
    if (!window || !window->display || (info->captureType != kCaptureWindow && info->captureType != kCaptureGame))
        return;
    MacCaptureSource& source = *info->source;
    const MacCaptureDisplay& display = *window->display;
    if (info->windowCaptureFullscreen)
        source.setCaptureFrame(0, 0, display.width, display.height);
    else
        source.setCaptureFrame(window->bounds.x, window->bounds.y, window->bounds.width, window->bounds.height);
    const MacCaptureSource::Frame frame = source.captureFrame();
    source.setOutputSize(float(frame.width), float(frame.height));
    source.setCaptureDisplay(display.displayID);
    if ((retarget || info->captureType == kCaptureWindow) && window->windowID != 0)
        source.setCaptureWindow(window->windowID, kWindowPollIntervalMicros);
}

MacCaptureWindow* MacCaptureManager::getCaptureWindow(const std::string& id) const {
    const RecordRef info = findRecord(id);
    if (!info || info->windowID < 1) return nullptr;
    return MacCaptureWindowManager::getWindowForID(info->windowID);
}

} // namespace MC
