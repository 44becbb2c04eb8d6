// The selection dialog as the capture manager opens it for a source, and how
// the user's answer is applied to that source.
#include <memory>
#include <mutex>
#include <string>

#include "MacCaptureApplication.h"
#include "MacCaptureManager.h"
#include "MacCaptureWindow.h"
#include "MacCaptureWindowManager.h"
#include "Selection/MacCaptureSelectionDialog.h"

namespace MC {
namespace {

// What the dialog's answer needs to find its way back; owned by the dialog
// until the answer comes.
struct SelectionContext {
    MacCaptureManager* manager = nullptr;
    std::string sourceID;
    int32_t type = -1;
};

// The dialog's answer, on the main queue.
void windowMonitorSelectionCallback(MacCaptureSelectionDialog::eUserResponse response, int index,
                                    const zRect* region, void* context) {
    if (!context) return;
    const std::unique_ptr<SelectionContext> selection(static_cast<SelectionContext*>(context));
    selection->manager->handleWindowMonitorSelection(selection->sourceID, selection->type, response, index, region);
}

} // namespace

void MacCaptureManager::promptWindowMonitorSelection(const std::string& id, int flag) {
    auto context = std::make_unique<SelectionContext>(SelectionContext{this, id});
    if (flag != 0) return;
    context->type = getCaptureType(id);
    bool shown = false;
    if (context->type == kCaptureDisplay) {
        const int32_t index = getCaptureDisplayIndex(id);
        if (index == -1) return;
        zRect region;
        getCaptureRegion(id, region);
        shown = fSelectionDialog->showMonitorSelection(index, eCaptureMode(getCaptureMode(id)), &region,
                                                       &windowMonitorSelectionCallback, context.get());
    } else if (context->type == kCaptureWindow || context->type == kCaptureGame) {
        shown = fSelectionDialog->showWindowSelection(getCaptureWindowID(id), context->type == kCaptureGame,
                                                      &windowMonitorSelectionCallback, context.get());
    } else {
        return;
    }
    // Shown, the dialog owns the context until it answers; without a user
    // interface it never will.
    if (!shown) return;
    context.release();
    {
        std::lock_guard lock(fPromptLock);
        fPromptSourceID = id;
    }
    fSelectionPromptShown = true;
}

bool MacCaptureManager::isSelectionPromptOpen(const std::string& id) const {
    std::lock_guard lock(fPromptLock);
    return !id.empty() && fPromptSourceID == id;
}

void MacCaptureManager::handleWindowMonitorSelection(const std::string& id, int32_t type, int response, int index,
                                                     const zRect* region) {
    stopCaptureMonitorForSourceID(id);
    if (response == MacCaptureSelectionDialog::kUserResponseOK &&
        (type == kCaptureDisplay || type == kCaptureWindow || type == kCaptureGame)) {
        if (type == kCaptureDisplay && region) {
            setCaptureDisplayIndex(id, index);
            setCaptureMode(id, kCaptureRegion, region);
        } else if (type == kCaptureDisplay) {
            if (const SourceControl info = control(id)) info->disableRegionCapture();
            setCaptureDisplayIndex(id, index);
            setCaptureMode(id, kCaptureWholeDisplay, nullptr);
        } else {
            setCaptureWindow(id, index, false);
        }
        if (type == kCaptureGame) {
            std::string title, application;
            {
                MacCaptureWindowManager::RefreshLock inventory;
                if (const MacCaptureWindow* window = MacCaptureWindowManager::getWindowForID(index)) {
                    title = window->name;
                    if (window->application) application = window->application->name;
                }
            }
            startCaptureMonitorForSourceID(id, title, application);
        }
        if (const RecordRef record = findRecord(id)) record->NotifySourceSettingsChanged();
    }
    // Open until the answer is applied: a host that sees the dialog closed
    // has already been told of the new settings.
    {
        std::lock_guard lock(fPromptLock);
        if (fPromptSourceID == id) fPromptSourceID.clear();
    }
    if (response == MacCaptureSelectionDialog::kUserResponseCancel) {
        fSelectionPromptShown = false;
        return;
    }
    if (IsCaptureVideo(id)) {
        if (const SourceControl info = control(id); info && info->source->isRunng()) info->source->stop();
        startSource(id);
    }
    fSelectionPromptShown = false;
}

} // namespace MC
