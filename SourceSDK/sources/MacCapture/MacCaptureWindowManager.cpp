#include "MacCaptureWindowManager.h"

#include <atomic>
#include <cctype>
#include <cmath>

#include "MacCaptureDisplayUtils.h"
#include "Platform.h"

namespace MC {

using namespace qcp::platform;

namespace {

std::atomic<MacCaptureWindowManager*> gInstance{nullptr};

// An area as the unsigned 32-bit integer it truncates to (wrapping above
// 32 bits); areas too large for 64 bits count as 0.
uint32_t TruncatedArea(double area) { return area >= 0 && area < 0x1p64 ? uint32_t(uint64_t(area)) : 0; }

// The area left when a rectangle is shrunk by 2 points on every side; none
// when that leaves nothing.
double InsetArea(const Rect& rect) {
    const double width = rect.width - 4, height = rect.height - 4;
    return width < 0 || height < 0 ? 0 : width * height;
}

// A window that is not on the current desktop (another Space, a full-screen
// application's own Space, a hidden window) is offered only when it looks like
// a full-screen window: at the display's left edge, large, and on a 4-point row.
bool LooksFullScreen(const MacCaptureWindow::Bounds& bounds) {
    return bounds.x == 0 && bounds.width >= 800 && bounds.height >= 600 &&
           std::fmod(std::trunc(bounds.y), 4.0f) == 0;
}

} // namespace

bool case_insensitive_compare(const std::string& a, const std::string& b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (std::toupper(static_cast<unsigned char>(a[i])) != std::toupper(static_cast<unsigned char>(b[i])))
            return false;
    return true;
}

MacCaptureWindowManager::MacCaptureWindowManager() : fLock(zCritical::Factory()) {}

MacCaptureWindowManager::~MacCaptureWindowManager() {
    zLocker lock(*fLock);
    _clearLists();
}

void MacCaptureWindowManager::initializeMacCaptureWindowMgr() {
    if (getInstance()) return;
    auto* manager = new MacCaptureWindowManager();
    MacCaptureWindowManager* expected = nullptr;
    // Published before the first refresh: displayForRect reads the displays
    // through the global instance.
    if (!gInstance.compare_exchange_strong(expected, manager)) {
        delete manager;
        return;
    }
    manager->_refreshLists();
}

void MacCaptureWindowManager::shutdownMacCaptureWindowMgr() { delete gInstance.exchange(nullptr); }

MacCaptureWindowManager* MacCaptureWindowManager::getInstance() { return gInstance.load(); }

void MacCaptureWindowManager::refreshLists() {
    if (MacCaptureWindowManager* manager = getInstance()) manager->_refreshLists();
}

MacCaptureWindow* MacCaptureWindowManager::getWindowForID(int windowNumber) {
    MacCaptureWindowManager* manager = getInstance();
    return manager ? manager->_getWindowForID(windowNumber) : nullptr;
}

MacCaptureWindow* MacCaptureWindowManager::getWindow(const std::string& windowName, const std::string& applicationName) {
    MacCaptureWindowManager* manager = getInstance();
    return manager ? manager->_getWindow(windowName, applicationName) : nullptr;
}

ImageRef MacCaptureWindowManager::getWindowScreenShot(int windowNumber) {
    MacCaptureWindowManager* manager = getInstance();
    return manager ? manager->_getWindowScreenShot(windowNumber) : nullptr;
}

MacCaptureDisplay* MacCaptureWindowManager::getDisplay(unsigned int index) {
    MacCaptureWindowManager* manager = getInstance();
    return manager ? manager->_getDisplay(index) : nullptr;
}

MacCaptureApplication* MacCaptureWindowManager::getApplication(int pid) {
    MacCaptureWindowManager* manager = getInstance();
    return manager ? manager->_getApplication(pid) : nullptr;
}

void MacCaptureWindowManager::getApplicationList(std::vector<MacCaptureApplication*>& list) {
    if (MacCaptureWindowManager* manager = getInstance()) manager->_getApplicationList(list);
}

void MacCaptureWindowManager::getDisplayList(std::vector<MacCaptureDisplay*>& list) {
    if (MacCaptureWindowManager* manager = getInstance()) manager->_getDisplayList(list);
}

void MacCaptureWindowManager::getWindowList(std::vector<MacCaptureWindow*>& list) {
    if (MacCaptureWindowManager* manager = getInstance()) manager->_getWindowList(list);
}

MacCaptureWindowManager::RefreshLock::RefreshLock() : fManager(getInstance()) {
    if (fManager) fManager->_lockRefresh();
}

MacCaptureWindowManager::RefreshLock::~RefreshLock() {
    if (fManager) fManager->_unlockRefresh();
}

MacCaptureDisplay* MacCaptureWindowManager::displayForRect(const Rect& rect, bool* partlyOff) {
    return displayForRect(rect, partlyOff, currentScreens());
}

MacCaptureDisplay* MacCaptureWindowManager::displayForRect(const Rect& rect, bool* partlyOff,
                                                           const std::vector<ScreenInfo>& screens) {
    MacCaptureWindowManager* manager = getInstance();
    if (!manager) return nullptr;
    zLocker lock(*manager->fLock);
    MacCaptureDisplay* best = nullptr;
    double bestArea = 0;
    for (size_t i = 0; i < screens.size(); ++i) {
        const Rect screenRect{0, 0, screens[i].frame.width, screens[i].frame.height};
        MacCaptureDisplay* display = manager->_getDisplay(unsigned(i));
        Rect r = rect;
        MacCaptureWindow::ConvertBoundsForDisplay(r, display, screens);
        if (!screenRect.Intersects(r)) continue;
        const Rect overlap = screenRect.Intersection(r);
        const double area = overlap.width * overlap.height;
        if (partlyOff) *partlyOff = TruncatedArea(area) < TruncatedArea(InsetArea(r));
        if (area > bestArea) {
            best = display;
            bestArea = area;
        }
    }
    return best;
}

void MacCaptureWindowManager::_refreshLists() {
    zLocker lock(*fLock);
    _clearLists();
    Platform* platform = Current();
    if (!platform) return;
    const std::vector<ScreenInfo> screens = platform->screens().list();
    for (size_t i = 0; i < screens.size(); ++i)
        fDisplays[int32_t(i)] = std::make_unique<MacCaptureDisplay>(
            screens[i].displayID, float(screens[i].frame.width), float(screens[i].frame.height),
            displayName(screens[i]));
    const int32_t ownPID = platform->windowServer().ownPID();
    for (const WindowInfo& entry : platform->windowServer().windowList(false)) addWindow(entry, ownPID, screens);
}

void MacCaptureWindowManager::addWindow(const WindowInfo& entry, int32_t ownPID,
                                        const std::vector<ScreenInfo>& screens) {
    if (!entry.title || entry.title->empty()) return;
    if (!(entry.bounds.width > 0 && entry.bounds.height > 0)) return;
    if (!entry.ownerName || *entry.ownerName == "Window Server") return;
    // The host's own windows are never offered.
    if (entry.ownerPID == ownPID) return;

    std::unique_ptr<MacCaptureApplication>& slot = fApplications[entry.ownerPID];
    if (!slot) slot = std::make_unique<MacCaptureApplication>(entry.ownerPID, *entry.ownerName);
    MacCaptureApplication& application = *slot;

    auto window = std::make_unique<MacCaptureWindow>();
    window->windowID = int32_t(entry.number);
    window->name = *entry.title;
    window->application = &application;
    window->display = displayForRect(entry.bounds, &window->partlyOffDisplay, screens);
    // The application stays listed even when this was its only window.
    if (!window->display) return;

    Rect converted = entry.bounds;
    MacCaptureWindow::ConvertBoundsForDisplay(converted, window->display, screens);
    window->bounds = {float(converted.x), float(converted.y), float(converted.width), float(converted.height)};
    if (!entry.onScreen && !LooksFullScreen(window->bounds)) {
        if (application.windows.empty()) fApplications.erase(entry.ownerPID);
        return;
    }
    fWindows[window->windowID] = window.get();
    application.windows.push_back(std::move(window));
}

void MacCaptureWindowManager::_clearLists() {
    zLocker lock(*fLock);
    fWindows.clear();
    fApplications.clear();
    fDisplays.clear();
}

MacCaptureWindow* MacCaptureWindowManager::_getWindowForID(int windowNumber) {
    zLocker lock(*fLock);
    const auto found = fWindows.find(windowNumber);
    return found == fWindows.end() ? nullptr : found->second;
}

MacCaptureWindow* MacCaptureWindowManager::_getWindow(const std::string& windowName,
                                                      const std::string& applicationName) {
    zLocker lock(*fLock);
    for (const auto& [number, window] : fWindows)
        if (case_insensitive_compare(window->name, windowName) &&
            case_insensitive_compare(window->application->name, applicationName))
            return window;
    return nullptr;
}

ImageRef MacCaptureWindowManager::_getWindowScreenShot(int windowNumber) {
    zLocker lock(*fLock);
    MacCaptureWindow* window = _getWindowForID(windowNumber);
    return window ? window->createWindowScreenShot() : nullptr;
}

MacCaptureDisplay* MacCaptureWindowManager::_getDisplay(unsigned int index) {
    zLocker lock(*fLock);
    const auto found = fDisplays.find(int32_t(index));
    return found == fDisplays.end() ? nullptr : found->second.get();
}

MacCaptureApplication* MacCaptureWindowManager::_getApplication(int pid) {
    zLocker lock(*fLock);
    const auto found = fApplications.find(pid);
    return found == fApplications.end() ? nullptr : found->second.get();
}

void MacCaptureWindowManager::_getApplicationList(std::vector<MacCaptureApplication*>& list) {
    zLocker lock(*fLock);
    for (const auto& [pid, application] : fApplications) list.push_back(application.get());
}

void MacCaptureWindowManager::_getDisplayList(std::vector<MacCaptureDisplay*>& list) {
    zLocker lock(*fLock);
    // Keys run 0, 1, 2 ... without gaps, so key order is index order.
    for (const auto& [index, display] : fDisplays) list.push_back(display.get());
}

void MacCaptureWindowManager::_getWindowList(std::vector<MacCaptureWindow*>& list) {
    zLocker lock(*fLock);
    for (const auto& [number, window] : fWindows) list.push_back(window);
}

void MacCaptureWindowManager::_lockRefresh() { fLock->Lock(); }

void MacCaptureWindowManager::_unlockRefresh() { fLock->Unlock(); }

} // namespace MC
