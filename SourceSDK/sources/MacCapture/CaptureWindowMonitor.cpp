#include "CaptureWindowMonitor.h"

#include <algorithm>

#include "MacCaptureManager.h"
#include "MacCaptureWindowManager.h"

namespace MC {

zCritical _CaptureWindowMonitor::fCapMonListLock;
std::list<std::unique_ptr<_CaptureWindowMonitor>> _CaptureWindowMonitor::fCaptureMonitorList;

namespace {
constexpr int kMoved = 1;
constexpr int kResized = 2;
constexpr int kChangedDisplay = 4;
} // namespace

_CaptureWindowMonitor::_CaptureWindowMonitor(std::string sourceID, std::string windowTitle, std::string appName,
                                             MacCaptureManager& manager)
    : fSourceID(std::move(sourceID)), fWindowTitle(std::move(windowTitle)), fAppName(std::move(appName)),
      fManager(manager) {}

_CaptureWindowMonitor::~_CaptureWindowMonitor() { StopMonitorThread(); }

void _CaptureWindowMonitor::Start(MacCaptureManager& manager, const std::string& sourceID,
                                  const std::string& windowTitle, const std::string& appName) {
    zLocker lock(fCapMonListLock);
    auto& monitor = fCaptureMonitorList.emplace_back(
        std::make_unique<_CaptureWindowMonitor>(sourceID, windowTitle, appName, manager));
    monitor->fThread = zThread::Factory(sourceID, *monitor);
}

void _CaptureWindowMonitor::StopMonitorThreadForSourceID(const std::string& sourceID) {
    std::unique_ptr<_CaptureWindowMonitor> stopping;
    {
        zLocker lock(fCapMonListLock);
        auto found = std::find_if(fCaptureMonitorList.begin(), fCaptureMonitorList.end(),
                                  [&](const auto& monitor) { return monitor->fSourceID == sourceID; });
        if (found == fCaptureMonitorList.end()) return;
        stopping = std::move(*found);
        fCaptureMonitorList.erase(found);
    }
    // Joined outside the list lock: the thread may be waiting for a frame
    // delivery whose host callback reads the list.
    stopping->StopMonitorThread();
}

void _CaptureWindowMonitor::StopAll() {
    std::list<std::unique_ptr<_CaptureWindowMonitor>> stopping;
    {
        zLocker lock(fCapMonListLock);
        stopping.swap(fCaptureMonitorList);
    }
    for (auto& monitor : stopping) monitor->StopMonitorThread();
}

bool _CaptureWindowMonitor::FindAppWindow(const std::string& sourceID, std::string* appName,
                                          std::string* windowTitle) {
    zLocker lock(fCapMonListLock);
    for (const auto& monitor : fCaptureMonitorList) {
        if (monitor->fSourceID != sourceID) continue;
        if (appName) *appName = monitor->fAppName;
        if (windowTitle) *windowTitle = monitor->fWindowTitle;
        return true;
    }
    return false;
}

void _CaptureWindowMonitor::StopMonitorThread() {
    if (!fThread) return;
    fStopRequested = true;
    fStopSignal->Raise();
    fThread->Join();
    fThread.reset();
}

int _CaptureWindowMonitor::Main(int, const char**) {
    int64_t wait = 0;
    while (!fStopRequested) {
        if (fStopSignal->Wait(wait) == zSignal::WaitResult::Signalled) break;
        wait = Poll();
    }
    return 0;
}

int64_t _CaptureWindowMonitor::Poll() {
    // The whole poll is one change of the source. A host call that is
    // changing it may be waiting to stop this monitor: never wait for it,
    // look again shortly instead.
    const MacCaptureManager::SourceControl control = fManager.tryControl(fSourceID);
    if (!control) return kHoldIntervalMicros;
    bool searching = false;
    int changes = 0, windowID = 0;
    bool partlyOff = false;
    {
        MacCaptureWindowManager::RefreshLock inventory;
        if (MacCaptureWindow* window = fManager.getCaptureWindow(fSourceID)) {
            // Lost windows (change bit 8) are left alone: the window is found
            // again by title and application once the inventory forgets it.
            changes = window->refresh();
            windowID = window->windowID;
            partlyOff = window->partlyOffDisplay;
        } else {
            searching = true;
            MacCaptureWindowManager::refreshLists();
            if (MacCaptureWindow* found = MacCaptureWindowManager::getWindow(fWindowTitle, fAppName))
                windowID = found->windowID;
        }
    }
    if (searching) {
        if (windowID) {
            fManager.setCaptureWindow(fSourceID, windowID, false);
            fManager.startSource(fSourceID);
        }
        return kSearchIntervalMicros;
    }
    const bool fullscreen = fManager.getWindowCaptureFullscreen(fSourceID);
    if (((changes & (kMoved | kResized)) && !fullscreen) || ((changes & kChangedDisplay) && fullscreen)) {
        fManager.stopSource(fSourceID);
        fManager.setCaptureWindow(fSourceID, windowID, partlyOff);
        fManager.startSource(fSourceID);
    }
    return kHoldIntervalMicros;
}

} // namespace MC
