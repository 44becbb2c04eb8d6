// The handle's record of its open selection window; every show and close
// runs on the main queue, where the window lives.
#include "MacCaptureSelectionDialog.h"

#include <mutex>

#include "MacCaptureSelectWindow.h"
#include "RegionChooser.h"
#include "zQueue.h"

namespace MC {

namespace {

// On a later turn of the main queue, as an autorelease would: a controller
// is released from within its own call when it closes.
void Release(std::shared_ptr<MacCaptureSelectWindow> controller) {
    if (controller) zQueue::Main().Async([controller = std::move(controller)]() mutable { controller.reset(); });
}

} // namespace

// The open window's closed hook holds it weakly: a window closing after the
// handle is gone finds nothing to clear.
struct MacCaptureSelectionDialog::Record : std::enable_shared_from_this<Record> {
    std::mutex lock; // the window is read from any thread (isOpen)
    std::shared_ptr<MacCaptureSelectWindow> window;

    std::shared_ptr<MacCaptureSelectWindow> current() {
        std::lock_guard guard(lock);
        return window;
    }

    // Takes the window out, all of them or only `closed`.
    std::shared_ptr<MacCaptureSelectWindow> take(const MacCaptureSelectWindow* closed = nullptr) {
        std::lock_guard guard(lock);
        if (closed && window.get() != closed) return nullptr;
        return std::move(window);
    }

    // Main queue. The window replaced answers cancel first, so that each
    // caller hears once and no window is left open untracked.
    // True when the new window is shown.
    bool open(std::shared_ptr<MacCaptureSelectWindow> controller) {
        while (std::shared_ptr<MacCaptureSelectWindow> previous = take()) {
            previous->cancel();
            Release(std::move(previous));
        }
        controller->setClosedHook([weak = weak_from_this()](MacCaptureSelectWindow& closed) {
            if (const std::shared_ptr<Record> record = weak.lock()) Release(record->take(&closed));
        });
        if (!controller->show()) return false; // no user interface: nothing to track
        std::lock_guard guard(lock);
        window = std::move(controller);
        return true;
    }
};

MacCaptureSelectionDialog::MacCaptureSelectionDialog() : fRecord(std::make_shared<Record>()) {}

MacCaptureSelectionDialog::~MacCaptureSelectionDialog() {
    if (!isOpen()) return;
    zQueue::Main().Sync([this] {
        if (const std::shared_ptr<MacCaptureSelectWindow> open = fRecord->current()) open->close();
    });
}

bool MacCaptureSelectionDialog::isOpen() const { return fRecord->current() != nullptr; }

bool MacCaptureSelectionDialog::showWindowSelection(int windowID, bool game, Callback callback, void* userInfo) {
    if (!callback) return false;
    bool shown = false;
    zQueue::Main().Sync([&] {
        const auto mode = game ? MacCaptureSelectWindow::Mode::Game : MacCaptureSelectWindow::Mode::Window;
        auto controller = std::make_shared<MacCaptureSelectWindow>(mode, &OBRN::ChooseRegion);
        controller->setSelectedWindow(uint32_t(windowID));
        controller->setHandler(callback, userInfo);
        shown = fRecord->open(std::move(controller));
    });
    return shown;
}

bool MacCaptureSelectionDialog::showMonitorSelection(int monitorIndex, eCaptureMode mode, const zRect* region,
                                                     Callback callback, void* userInfo) {
    if (!callback) return false;
    bool shown = false;
    zQueue::Main().Sync([&] {
        auto controller = std::make_shared<MacCaptureSelectWindow>(MacCaptureSelectWindow::Mode::Monitor,
                                                                   &OBRN::ChooseRegion);
        controller->setSelectedMonitor(monitorIndex);
        controller->setSelectedRegion(region ? *region : zRect());
        controller->setCaptureMode(mode);
        controller->setHandler(callback, userInfo);
        shown = fRecord->open(std::move(controller));
    });
    return shown;
}

bool MacCaptureSelectionDialog::showAlertSheet(const qcp::platform::Alert& alert) {
    bool shown = false;
    zQueue::Main().Sync([&] {
        if (const std::shared_ptr<MacCaptureSelectWindow> open = fRecord->current()) {
            open->showAlertSheet(alert);
            shown = true;
        }
    });
    return shown;
}

void MacCaptureSelectionDialog::closeSelectionWindow() {
    if (!isOpen()) return;
    zQueue::Main().Sync([this] {
        if (const std::shared_ptr<MacCaptureSelectWindow> open = fRecord->current()) open->cancel();
    });
}

} // namespace MC
