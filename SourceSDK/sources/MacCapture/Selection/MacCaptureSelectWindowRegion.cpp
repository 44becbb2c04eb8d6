// The monitor mode's regions: one remembered per display, drawn with the
// region chooser, and the answer that carries one.
#include "MacCaptureSelectWindow.h"

#include "MacCaptureDisplayUtils.h"
#include "MacCaptureSourceSDKInfo.h"
#include "MacCaptureWindowManager.h"

namespace MC {
namespace {

constexpr int kProposedWidth = 800;
constexpr int kProposedHeight = 600;

} // namespace

zRect MacCaptureSelectWindow::selectedRegion() const {
    const auto found = fSelRegions.find(fSelectedMonitor);
    return found == fSelRegions.end() ? zRect() : found->second;
}

void MacCaptureSelectWindow::setSelectedRegion(const zRect& region) { fSelRegions[fSelectedMonitor] = region; }

void MacCaptureSelectWindow::selectionTypeChanged(int entry) {
    if (entry == kCaptureRegion) {
        fState.regionButton.enabled = true;
        if (!hasRegionSelected()) selectRegion();
    } else {
        fState.regionButton.enabled = false;
    }
}

void MacCaptureSelectWindow::selectRegion() {
    if (fSelectedMonitor < 0) return;
    const int displayID = int(displayIDFromIndex(fSelectedMonitor));
    auto choice = std::make_unique<RegionChoice>(RegionChoice{this});
    if (hasRegionSelected()) {
        const zRect region = selectedRegion();
        if (!fChooser(displayID, &regionSelectionCallback, choice.get(), region.left, region.top, int(region.Width()),
                      int(region.Height()))) {
            if (fView)
                fView->ShowAlertSheet(text("obr_mon_invalid"), text("obr_mon_invalid_msg"), text("dialog_ok"));
            return;
        }
    } else {
        // A display the inventory does not know counts as zero-sized: the
        // proposal is then centred on its top-left corner.
        float width = 0;
        float height = 0;
        {
            MacCaptureWindowManager::RefreshLock inventory;
            if (const MacCaptureDisplay* display = MacCaptureWindowManager::getDisplay(unsigned(fSelectedMonitor))) {
                width = display->width;
                height = display->height;
            }
        }
        const int left = int((width - kProposedWidth) * 0.5f);
        const int top = int((height - kProposedHeight) * 0.5f);
        // Refused silently: nothing was remembered for this display to warn about.
        if (!fChooser(displayID, &regionSelectionCallback, choice.get(), left, top, kProposedWidth, kProposedHeight))
            return;
    }
    fChoice = choice.release(); // the callback frees it
    setWidgetsEnable(false);
}

void MacCaptureSelectWindow::regionSelectionCallback(bool accepted, int x, int y, int width, int height,
                                                     void* userData) {
    const std::unique_ptr<RegionChoice> choice(static_cast<RegionChoice*>(userData));
    if (choice->controller) choice->controller->regionChosen(accepted, x, y, width, height);
}

void MacCaptureSelectWindow::regionChosen(bool accepted, int x, int y, int width, int height) {
    fChoice = nullptr;
    if (accepted) setSelectedRegion(zRect::FromOriginSize(x, y, width, height));
    setWidgetsEnable(true);
}

void MacCaptureSelectWindow::monitorOK() {
    const int index = fState.monitorList.selected;
    if (index < 0) return;
    if (fState.selectionList.selected == kCaptureRegion && hasRegionSelected()) {
        // A copy: the handler may close the window, which empties the memory.
        const zRect region = selectedRegion();
        answer(MacCaptureSelectionDialog::kUserResponseOK, index, &region);
    } else {
        answer(MacCaptureSelectionDialog::kUserResponseOK, index, nullptr);
    }
}

} // namespace MC
