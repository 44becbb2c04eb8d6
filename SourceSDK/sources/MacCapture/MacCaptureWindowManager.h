#pragma once
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Geometry.h"
#include "Image.h"
#include "MacCaptureApplication.h"
#include "MacCaptureDisplay.h"
#include "MacCaptureWindow.h"
#include "WindowServer.h"
#include "zCritical.h"

namespace MC {

// True when both strings, upper-cased byte by byte, are the same.
bool case_insensitive_compare(const std::string& a, const std::string& b);

// The process-wide inventory of what can be captured: the displays (keyed by
// their index in the screen list), the applications owning capturable
// windows (by process id) and those windows (by window number). Rebuilt from
// scratch by refreshLists(); every refresh frees all records handed out
// before it, so a caller that keeps a record pointer beyond one call holds a
// RefreshLock (re-entrant; refreshLists() may be called while holding it)
// until done with it.
//
// Lock order: a source's control lock, then this lock. Nobody stops a source
// or a display link, or calls the host, while holding it: the window path's
// display-link callback takes it, and the host's callbacks may.
//
// The static operations work on the global instance and do nothing (or
// return null) while there is none. Initialisation and shut-down run while no
// other thread uses the inventory.
class MacCaptureWindowManager {
public:
    // Creates, publishes and fills the instance; does nothing if one exists.
    static void initializeMacCaptureWindowMgr();
    static void shutdownMacCaptureWindowMgr();
    static MacCaptureWindowManager* getInstance();

    static void refreshLists();
    static MacCaptureWindow* getWindowForID(int windowNumber);
    // The window with the lowest number whose title and application name
    // match, ignoring case.
    static MacCaptureWindow* getWindow(const std::string& windowName, const std::string& applicationName);
    // A picture of the window alone; null when it is unknown or gone.
    static qcp::platform::ImageRef getWindowScreenShot(int windowNumber);
    // By screen index, not by display id.
    static MacCaptureDisplay* getDisplay(unsigned int index);
    static MacCaptureApplication* getApplication(int pid);
    // Append in ascending process id, screen index and window number.
    static void getApplicationList(std::vector<MacCaptureApplication*>& list);
    static void getDisplayList(std::vector<MacCaptureDisplay*>& list);
    static void getWindowList(std::vector<MacCaptureWindow*>& list);
    // Holds the inventory lock for its scope; does nothing while there is no
    // inventory.
    class RefreshLock {
    public:
        RefreshLock();
        ~RefreshLock();
        RefreshLock(const RefreshLock&) = delete;
        RefreshLock& operator=(const RefreshLock&) = delete;

    private:
        MacCaptureWindowManager* const fManager;
    };

    // The display showing the largest part of `rect` (global, top-left
    // origin); of equal parts, the lower index. `partlyOff`, when given, is
    // written for every display the rectangle touches, so it ends up telling
    // whether the last display touched shows less than all of the rectangle
    // (with a 2-point margin).
    static MacCaptureDisplay* displayForRect(const qcp::platform::Rect& rect, bool* partlyOff);
    // The same with a screen list the caller has already read.
    static MacCaptureDisplay* displayForRect(const qcp::platform::Rect& rect, bool* partlyOff,
                                             const std::vector<qcp::platform::ScreenInfo>& screens);

    void _refreshLists();
    MacCaptureWindow* _getWindowForID(int windowNumber);
    MacCaptureWindow* _getWindow(const std::string& windowName, const std::string& applicationName);
    qcp::platform::ImageRef _getWindowScreenShot(int windowNumber);
    MacCaptureDisplay* _getDisplay(unsigned int index);
    MacCaptureApplication* _getApplication(int pid);
    void _getApplicationList(std::vector<MacCaptureApplication*>& list);
    void _getDisplayList(std::vector<MacCaptureDisplay*>& list);
    void _getWindowList(std::vector<MacCaptureWindow*>& list);
    void _lockRefresh();
    void _unlockRefresh();

private:
    MacCaptureWindowManager();
    ~MacCaptureWindowManager();
    MacCaptureWindowManager(const MacCaptureWindowManager&) = delete;
    MacCaptureWindowManager& operator=(const MacCaptureWindowManager&) = delete;

    void _clearLists();
    void addWindow(const qcp::platform::WindowInfo& entry, int32_t ownPID,
                   const std::vector<qcp::platform::ScreenInfo>& screens);

    std::unique_ptr<zCritical> fLock;
    std::map<int32_t, std::unique_ptr<MacCaptureApplication>> fApplications;
    std::map<int32_t, std::unique_ptr<MacCaptureDisplay>> fDisplays;
    std::map<int32_t, MacCaptureWindow*> fWindows; // owned by their applications
};

} // namespace MC
