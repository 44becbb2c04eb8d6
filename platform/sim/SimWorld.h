#pragma once
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Cursor.h"
#include "Screens.h"
#include "Surface.h"
#include "System.h"
#include "WindowServer.h"

namespace qcp::platform::sim {

// The simulated desktop: displays, processes with windows on Spaces, the
// mouse, and switches for the faults real systems show. Tests drive it; the
// sim platform's seams read it. Every operation is thread-safe.
class SimWorld {
public:
    enum class WindowImageFault { None, Empty, Transparent };

    struct Window {
        uint32_t number = 0;
        int32_t pid = 0;
        std::optional<std::string> title;
        Rect bounds;      // global, points, top-left origin, y down
        int space = 1;    // shown only on the current Space
        bool minimised = false;
        bool hidden = false;
        uint32_t frameCounter = 0; // advances when its content changes
    };

    SimWorld();
    // Two displays side by side (1920 x 1080 main, 1280 x 1024 to its right),
    // a few applications with titled windows, a game full screen on another
    // Space, and a window of the plug-in's own process.
    static void PopulateDefault(SimWorld& world);

    // Displays. `frame` is global, in points, origin at the main display's
    // bottom-left, y up. Index 0 is the main display.
    void AddScreen(const ScreenInfo& screen);
    void RemoveScreen(uint32_t displayID);
    void MoveScreenToIndex(uint32_t displayID, size_t index);
    void SetBackingScale(uint32_t displayID, double scale);
    // Changes a display's frame while it may be streaming.
    void ReconfigureScreen(uint32_t displayID, const Rect& frame);
    std::vector<ScreenInfo> Screens() const;

    // Processes and windows. Window numbers are never reused.
    int32_t OwnPID() const { return fOwnPID; }
    void AddProcess(int32_t pid, std::optional<std::string> name);
    uint32_t OpenWindow(int32_t pid, std::optional<std::string> title, const Rect& bounds);
    void MoveWindow(uint32_t number, double x, double y);
    void ResizeWindow(uint32_t number, double width, double height);
    void RetitleWindow(uint32_t number, std::optional<std::string> title);
    void SetWindowSpace(uint32_t number, int space);
    void MinimiseWindow(uint32_t number, bool minimised);
    void HideWindow(uint32_t number, bool hidden);
    void RaiseWindow(uint32_t number);
    // Advances the window's frame counter: its content changed.
    void TouchWindow(uint32_t number);
    void CloseWindow(uint32_t number);
    // Closes the window and opens it again, as its application would: same
    // process, title and place (or `bounds`), a new number, at the front.
    uint32_t ReopenWindow(uint32_t number, std::optional<Rect> bounds = std::nullopt);
    void SetCurrentSpace(int space);
    std::optional<Window> FindWindow(uint32_t number) const;

    std::vector<WindowInfo> WindowList(bool onScreenOnly) const;
    std::optional<WindowInfo> WindowEntry(uint32_t number) const;
    ImageRef WindowImage(uint32_t number) const;

    // Content of a display: changes whenever something shown on it changes.
    uint64_t DisplayVersion(uint32_t displayID) const;
    void TouchDisplay(uint32_t displayID);
    // Renders part of a display (points, the display's top-left origin; the
    // whole display when absent) scaled into `target`. False when the display
    // is gone.
    bool RenderDisplay(uint32_t displayID, const std::optional<Rect>& sourceRect, Surface& target) const;

    // The mouse: global, points, origin at the main display's bottom-left, y up.
    void SetMouse(Point location);
    Point Mouse() const;
    void SetCursorImage(const CursorImage& cursor);
    CursorImage Cursor() const;

    // Faults and system answers.
    void SetStreamStalled(bool stalled);
    bool StreamStalled() const;
    void SetWindowImageFault(WindowImageFault fault);
    void SetScreenRecordingPermission(bool granted);
    bool ScreenRecordingPermission() const;
    void RecordAlert(const Alert& alert);
    std::vector<Alert> Alerts() const;
    void SetModalAlertAnswer(int button);
    int ModalAlertAnswer() const;

private:
    Rect TopLeftFrame(const ScreenInfo& screen) const;
    void BumpDisplaysShowing(const Rect& bounds);
    void BumpAll();
    Window* Find(uint32_t number);
    WindowInfo Entry(const Window& window) const;
    bool Visible(const Window& window) const;
    double ScaleFor(const Rect& bounds) const;

    mutable std::mutex fMutex;
    int32_t fOwnPID;
    std::vector<ScreenInfo> fScreens;
    std::map<uint32_t, uint64_t> fDisplayVersions;
    std::map<int32_t, std::optional<std::string>> fProcesses;
    std::vector<Window> fWindows; // front to back
    uint32_t fNextWindowNumber = 100;
    int fCurrentSpace = 1;
    Point fMouse;
    CursorImage fCursor;
    bool fStreamStalled = false;
    WindowImageFault fWindowImageFault = WindowImageFault::None;
    bool fPermission = true;
    std::vector<Alert> fAlerts;
    int fModalAnswer = 0;
};

} // namespace qcp::platform::sim
