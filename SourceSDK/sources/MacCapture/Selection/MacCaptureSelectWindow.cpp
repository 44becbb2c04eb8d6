// The selection window's life: showing it, the user's input, the one answer
// and closing.
#include "MacCaptureSelectWindow.h"

#include <utility>

#include "CommonSDKVariables.h"
#include "MacCaptureSourceSDKInfo.h"
#include "Platform.h"

namespace MC {

using qcp::platform::SelectionButton;
using qcp::platform::SelectionList;
using qcp::platform::SelectionWidget;

namespace {

// The window mode's widgets come first in the enumeration.
bool InWindowMode(SelectionWidget widget) { return widget <= SelectionWidget::WindowCancel; }

} // namespace

MacCaptureSelectWindow::MacCaptureSelectWindow(Mode mode, RegionChooser chooser, RegionCanceller cancel)
    : fMode(mode), fChooser(chooser), fCancelChoice(cancel) {
    fState.windowMode = windowMode();
}

MacCaptureSelectWindow::~MacCaptureSelectWindow() { endRegionChoice(); }

void MacCaptureSelectWindow::setHandler(Callback handler, void* userInfo) {
    fHandler = handler;
    fUserInfo = userInfo;
}

std::string MacCaptureSelectWindow::text(const char* key) {
    const char* translated = CSDK::TranslateString(key);
    // Without the host's services the key stands, as it does without a translator.
    return translated ? translated : key;
}

bool MacCaptureSelectWindow::show() {
    qcp::platform::Platform* platform = qcp::platform::Current();
    if (!platform || fView || fClosed) return false;
    fView = platform->createSelectionWindow(*this);
    if (!fView) return false;
    load();
    fView->Show(fState);
    return true;
}

void MacCaptureSelectWindow::load() {
    if (windowMode()) {
        fState.title = text("obr_capture_win_window_title");
        fState.processText = text("obr_capture_process_title");
        fState.windowText = text("obr_capture_window_text_title");
        fState.refreshButton.text = text("obr_capture_refresh_title");
        fState.windowOK.text = text("obr_capture_ok");
        fState.windowCancel.text = text("obr_capture_cancel");
    } else {
        fState.title = text("obr_capture_mon_window_title");
        fState.monitorText = text("obr_capture_monitor_title");
        fState.monitorOK.text = text("obr_capture_ok");
        fState.monitorCancel.text = text("obr_capture_cancel");
        fState.regionButton.text = text("obr_capture_region");
        fState.regionButton.enabled = fCaptureMode == kCaptureRegion;
    }
    refresh();
}

void MacCaptureSelectWindow::update() {
    if (fView) fView->Update(fState);
}

bool MacCaptureSelectWindow::isEnabled(SelectionWidget widget) const {
    if (InWindowMode(widget) != windowMode()) return false;
    if (const SelectionList* list = fState.list(widget)) return list->enabled;
    const SelectionButton* button = fState.button(widget);
    return button && button->enabled;
}

void MacCaptureSelectWindow::Chose(SelectionWidget list, int index) {
    // Disabled widgets are ignored whatever the view does: while the overlay
    // is up nothing may change the display its region is for.
    if (fClosed || !isEnabled(list)) return;
    SelectionList* shown = fState.list(list);
    if (!shown || index < 0 || size_t(index) >= shown->items.size()) return;
    shown->selected = index;
    switch (list) {
    case SelectionWidget::ProcessList: selectProcess(); break;
    case SelectionWidget::MonitorList: fSelectedMonitor = index; break;
    case SelectionWidget::SelectionList: selectionTypeChanged(index); break;
    default: break;
    }
    update();
}

void MacCaptureSelectWindow::Pressed(SelectionWidget button) {
    if (fClosed || !isEnabled(button)) return;
    switch (button) {
    case SelectionWidget::RefreshButton:
        refresh();
        update();
        break;
    case SelectionWidget::WindowOK: windowOK(); break;
    case SelectionWidget::WindowCancel:
    case SelectionWidget::MonitorCancel: cancel(); break;
    case SelectionWidget::RegionButton: selectRegion(); break;
    case SelectionWidget::MonitorOK: monitorOK(); break;
    default: break;
    }
}

void MacCaptureSelectWindow::cancel() { answer(MacCaptureSelectionDialog::kUserResponseCancel, 0, nullptr); }

void MacCaptureSelectWindow::answer(MacCaptureSelectionDialog::eUserResponse response, int id, const zRect* region) {
    // Once: the handler may itself close or cancel this window.
    if (fAnswered || fClosed) return;
    fAnswered = true;
    if (fHandler) fHandler(response, id, region, fUserInfo);
    close();
}

void MacCaptureSelectWindow::showAlertSheet(const qcp::platform::Alert& alert) {
    if (fView) fView->ShowAlertSheet(alert.message, alert.informativeText, alert.buttons.empty() ? "" : alert.buttons[0]);
}

void MacCaptureSelectWindow::close() {
    if (fClosed) return;
    fClosed = true;
    fSelRegions.clear();
    endRegionChoice();
    fView.reset();
    ClosedHook hook;
    hook.swap(fClosedHook);
    if (hook) hook(*this);
}

void MacCaptureSelectWindow::endRegionChoice() {
    // The overlay would otherwise stay over the screen, holding the keyboard,
    // for a window that is gone; its answer goes to the choice record alone.
    if (!fChoice) return;
    fChoice->controller = nullptr;
    fCancelChoice(std::exchange(fChoice, nullptr));
}

void MacCaptureSelectWindow::setWidgetsEnable(bool enabled) {
    if (windowMode()) {
        for (SelectionButton* button : {&fState.refreshButton, &fState.windowOK, &fState.windowCancel})
            button->enabled = enabled;
        fState.processList.enabled = fState.windowList.enabled = enabled;
    } else {
        for (SelectionButton* button : {&fState.monitorCancel, &fState.monitorOK, &fState.regionButton})
            button->enabled = enabled;
        fState.monitorList.enabled = fState.selectionList.enabled = enabled;
    }
    update();
}

} // namespace MC
