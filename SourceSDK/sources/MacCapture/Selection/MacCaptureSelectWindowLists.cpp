// What the selection window lists: the applications and their windows, or
// the displays and how to frame them.
#include "MacCaptureSelectWindow.h"

#include <algorithm>

#include "MacCaptureSourceSDKInfo.h"
#include "MacCaptureWindowManager.h"

namespace MC {
namespace {

std::string Titled(const std::string& name, int64_t number) { return name + " (" + std::to_string(number) + ")"; }

} // namespace

void MacCaptureSelectWindow::refresh() {
    if (windowMode())
        refreshApplications();
    else
        refreshMonitors();
}

void MacCaptureSelectWindow::refreshMonitors() {
    std::vector<std::string>& items = fState.monitorList.items;
    items.clear();
    {
        // The displays as the inventory last saw them: no refresh here.
        MacCaptureWindowManager::RefreshLock inventory;
        std::vector<MacCaptureDisplay*> displays;
        MacCaptureWindowManager::getDisplayList(displays);
        for (const MacCaptureDisplay* display : displays) items.push_back(Titled(display->name, display->displayID));
    }
    // A display gone since the caller chose it leaves nothing selected.
    const bool listed = fSelectedMonitor >= 0 && size_t(fSelectedMonitor) < items.size();
    fState.monitorList.selected = listed ? fSelectedMonitor : -1;
    fState.selectionList.items = {text("obr_capture_selection_fullscreen"), text("obr_capture_selection_region")};
    const bool known = fCaptureMode == kCaptureWholeDisplay || fCaptureMode == kCaptureRegion;
    fState.selectionList.selected = known ? fCaptureMode : -1;
}

void MacCaptureSelectWindow::refreshApplications() {
    std::vector<std::string>& items = fState.processList.items;
    items.clear();
    fState.processList.selected = -1;
    fApplications.clear();
    {
        MacCaptureWindowManager::RefreshLock inventory;
        MacCaptureWindowManager::refreshLists();
        std::vector<MacCaptureApplication*> applications;
        MacCaptureWindowManager::getApplicationList(applications);
        for (const MacCaptureApplication* application : applications) {
            items.push_back(Titled(application->name, application->pid));
            ListedApplication& listed = fApplications.emplace_back();
            for (const std::unique_ptr<MacCaptureWindow>& window : application->windows)
                listed.windows.emplace_back(window->windowID, window->name);
        }
        const MacCaptureWindow* preselected = MacCaptureWindowManager::getWindowForID(int(fSelectedWindow));
        if (preselected && preselected->application) {
            const auto found = std::find(items.begin(), items.end(),
                                         Titled(preselected->application->name, preselected->application->pid));
            if (found != items.end()) fState.processList.selected = int(found - items.begin());
        }
    }
    selectProcess();
}

void MacCaptureSelectWindow::selectProcess() {
    std::vector<std::string>& items = fState.windowList.items;
    items.clear();
    fState.windowList.selected = -1;
    const int application = fState.processList.selected;
    if (application < 0) return;
    const auto& windows = fApplications[size_t(application)].windows;
    for (const auto& [windowID, name] : windows) {
        // By id, not by name: two windows of one application may share a title.
        if (fSelectedWindow != 0 && uint32_t(windowID) == fSelectedWindow)
            fState.windowList.selected = int(items.size());
        items.push_back(name);
    }
    if (fState.windowList.selected < 0 && !items.empty()) fState.windowList.selected = 0;
}

void MacCaptureSelectWindow::windowOK() {
    const int application = fState.processList.selected;
    const int window = fState.windowList.selected;
    if (application < 0 || window < 0) return;
    answer(MacCaptureSelectionDialog::kUserResponseOK, fApplications[size_t(application)].windows[size_t(window)].first,
           nullptr);
}

} // namespace MC
