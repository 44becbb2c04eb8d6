// What a screen source captures: its type, display, mode and window, applied
// to the record and to the capture source in a fixed order.
#include "MacCaptureDisplayUtils.h"
#include "MacCaptureManager.h"
#include "MacCaptureWindowManager.h"
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
    qcp::platform::Current()->system().showAlertSheet(alert);
}

void MacCaptureManager::setCaptureType(const std::string& id, int32_t type, const zRect* region) {
    if (fSelectionPromptShown) {
        showCloseSelectionDialogAlert();
        return;
    }
    MacCaptureSourceSDKInfo* info = _GetCaptureSDKInfo(id);
    if (!info) return;
    info->captureType = type;
    if (type == kCaptureWindow) {
        if (MacCaptureWindow* window = MacCaptureWindowManager::getWindowForID(info->windowID))
            setCaptureWindow(id, window->windowID, false);
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
    MacCaptureSourceSDKInfo* info = _GetCaptureSDKInfo(id);
    MacCaptureDisplay* display = MacCaptureWindowManager::getDisplay(unsigned(index));
    if (!info || !display) return;
    info->displayID = display->displayID;
    if (info->displayIndex != index) {
        if (info->captureMode == kCaptureRegion) {
            const zRect region = info->region;
            setCaptureMode(id, kCaptureRegion, &region);
        } else {
            setCaptureMode(id, info->captureMode, nullptr);
        }
        info->displayIndex = index;
    }
}

int32_t MacCaptureManager::getCaptureDisplayIndex(const std::string& id) {
    MacCaptureSourceSDKInfo* info = _GetCaptureSDKInfo(id);
    if (!info || info->displayID == 0) return -1;
    MacCaptureWindowManager::refreshLists();
    if (const int index = indexFromDisplayID(info->displayID); index >= 0) {
        info->displayIndex = index;
        return index;
    }
    // The display was unplugged: take whichever display now has its index,
    // else the main display.
    if (const unsigned displayID = displayIDFromIndex(info->displayIndex)) {
        info->displayID = displayID;
        return info->displayIndex;
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
    MacCaptureSourceSDKInfo* info = _GetCaptureSDKInfo(id);
    if (!info) return;
    MacCaptureSource& source = *info->source;
    MacCaptureDisplay* display = MacCaptureWindowManager::getDisplay(unsigned(info->displayIndex));
    if (mode == kCaptureRegion && region && region->HasArea()) {
        if (info->captureType == kCaptureDisplay && display) {
            source.setCaptureFrame(float(region->left), float(region->top), float(region->Width()),
                                   float(region->Height()));
            source.setOutputSize(float(region->Width()), float(region->Height()));
        }
        info->enableRegionCapture(region);
        if (info->captureType == kCaptureDisplay && display) source.setCaptureDisplay(display->displayID);
        return;
    }
    if (info->captureType != kCaptureDisplay || !display) return;
    source.setCaptureFrame(0, 0, display->width, display->height);
    source.setOutputSize(display->width, display->height);
    info->disableRegionCapture();
    source.setCaptureDisplay(display->displayID);
}

void MacCaptureManager::setCaptureWindow(const std::string& id, int windowID, bool retarget) {
    MacCaptureSourceSDKInfo* info = _GetCaptureSDKInfo(id);
    if (!info) return;
    info->windowID = windowID;
    MacCaptureWindowManager::lockRefresh();
    MacCaptureWindow* window = MacCaptureWindowManager::getWindowForID(windowID);
    if (window && window->display && (info->captureType == kCaptureWindow || info->captureType == kCaptureGame)) {
        MacCaptureSource& source = *info->source;
        const MacCaptureDisplay& display = *window->display;
        if (info->windowCaptureFullscreen)
            source.setCaptureFrame(0, 0, display.width, display.height);
        else
            source.setCaptureFrame(window->bounds.x, window->bounds.y, window->bounds.width, window->bounds.height);
        const MacCaptureSource::Frame& frame = source.captureFrame();
        source.setOutputSize(float(frame.width), float(frame.height));
        source.setCaptureDisplay(display.displayID);
        if ((retarget || info->captureType == kCaptureWindow) && window->windowID != 0) {
            source.setCaptureWindow(window->windowID, kWindowPollIntervalMicros);
        }
    }
    MacCaptureWindowManager::unlockRefresh();
}

MacCaptureWindow* MacCaptureManager::getCaptureWindow(const std::string& id) const {
    MacCaptureSourceSDKInfo* info = _GetCaptureSDKInfo(id);
    if (!info || info->windowID < 1) return nullptr;
    return MacCaptureWindowManager::getWindowForID(info->windowID);
}

} // namespace MC
