#pragma once
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Cursor.h"
#include "Screens.h"
#include "SimClock.h"
#include "SimCounters.h"
#include "SimStamp.h"
#include "SimTicker.h"
#include "System.h"
#include "WindowServer.h"

namespace qcp::platform::sim {

// The simulated desktop: displays, processes with windows on Spaces, the
// mouse and its cursor, the system's answers, switches for the faults real
// systems show, and counters. Tests drive it; the sim platform's seams read
// it. A new world is empty (no display, no window, mouse at (0, 0), an arrow
// cursor, permission granted); PopulateDefault() fills it with a desktop.
//
// Coordinates are those of the seams: screen frames and the mouse global in
// points with the origin at the main screen's bottom-left corner, y up;
// window bounds global in points with the origin at the main screen's
// top-left corner, y down.
//
// Content: every display and window shows a flat colour derived from its
// identity and carries stamps (SimStamp.h). A display's counter advances
// whenever anything it shows changes (a window on it opens, closes, moves,
// resizes, changes Space or content; the layout of the screens changes; a
// test touches it); a window's counter advances when its content changes
// (TouchWindow, ResizeWindow, an animation). Display streams deliver a frame
// only when their display's counter moved.
//
// Every operation is thread-safe. Operations on an unknown display or
// window number do nothing.
class SimWorld {
public:
    enum class WindowImageFault {
        None,
        Missing,     // windowImage() answers null, as for a window it cannot read
        Transparent, // a picture of the right size with every pixel zero
    };

    struct Window {
        uint32_t number = 0;
        int32_t pid = 0;
        std::optional<std::string> title;
        Rect bounds; // global, points, top-left origin, y down
        int space = 1;
        bool minimised = false;
        bool hidden = false;
        uint32_t counter = 0; // advances when its content changes
    };

    // What a display stream paints for one frame, taken in one piece.
    struct DisplayScene {
        uint32_t displayID = 0;
        uint32_t counter = 0;
        bool asleep = false;
        Rect frame; // global, points, top-left origin, y down
        struct Item {
            uint32_t number = 0;
            Rect bounds; // global, points, top-left origin, y down
            uint32_t counter = 0;
        };
        std::vector<Item> windows; // visible ones meeting the display, back to front
    };

    SimWorld();
    ~SimWorld();
    SimWorld(const SimWorld&) = delete;
    SimWorld& operator=(const SimWorld&) = delete;

    // Two displays side by side (1 = 1920 x 1080 main, 2 = 1280 x 1024 to
    // its right, tops aligned), applications with titled windows, a game full
    // screen on Space 2, a window of the plug-in's own process, the window
    // server's menu bar and an untitled dock window, and one window whose
    // content changes 30 times a second (so display 1 always has new frames).
    static void PopulateDefault(SimWorld& world);

    // ---- Displays. Index 0 of the list is the main screen.
    // Appends a display, or replaces the one with the same id in place.
    void AddScreen(const ScreenInfo& screen);
    // Unplugs it: its running streams end with a Stopped status.
    void RemoveScreen(uint32_t displayID);
    void MoveScreenToIndex(uint32_t displayID, size_t index);
    void SetBackingScale(uint32_t displayID, double scale);
    // Changes a display's frame (resolution or arrangement) while it may be
    // streaming; its streams keep their output size and show the new layout.
    void ReconfigureScreen(uint32_t displayID, const Rect& frame);
    // An asleep display delivers Blank instead of frames.
    void SetDisplayAsleep(uint32_t displayID, bool asleep);
    // Its content changed without any window (a wallpaper, say).
    void TouchDisplay(uint32_t displayID);
    std::vector<ScreenInfo> Screens() const;
    std::optional<ScreenInfo> Screen(uint32_t displayID) const;
    // The stamp the display's current content carries; none when unknown.
    std::optional<Stamp> DisplayStamp(uint32_t displayID) const;
    // Everything a stream paints, or none when the display is gone.
    std::optional<DisplayScene> Scene(uint32_t displayID) const;
    // The same into a scene the caller keeps, so that a stream's ticks reuse
    // its storage; false when the display is gone.
    bool FillScene(uint32_t displayID, DisplayScene& scene) const;

    // ---- Processes and windows. Numbers are never reused.
    // The plug-in's own process in this world. Not the real one: a number no
    // process can have (ids stay below 2^22), so that the processes a
    // test or the default desktop invents never turn out to be the host's.
    static constexpr int32_t kOwnPID = 1 << 22;
    int32_t OwnPID() const { return kOwnPID; }
    // A process with its application name (none: the system cannot name it).
    void AddProcess(int32_t pid, std::optional<std::string> name);
    // Opens a window at the front of the current Space and returns its number.
    uint32_t OpenWindow(int32_t pid, std::optional<std::string> title, const Rect& bounds);
    void MoveWindow(uint32_t number, double x, double y);
    void ResizeWindow(uint32_t number, double width, double height);
    void RetitleWindow(uint32_t number, std::optional<std::string> title);
    // A window on another Space than the current one is not on screen.
    void SetWindowSpace(uint32_t number, int space);
    void SetCurrentSpace(int space);
    void MinimiseWindow(uint32_t number, bool minimised);
    void HideWindow(uint32_t number, bool hidden);
    void RaiseWindow(uint32_t number);
    // Its content changed: its counter advances.
    void TouchWindow(uint32_t number);
    // Touches the window `framesPerSecond` times a second on the world's
    // clock (once per step when stepped); 0 stops.
    void AnimateWindow(uint32_t number, double framesPerSecond);
    void CloseWindow(uint32_t number);
    // Closes the window and opens it again as its application would: same
    // process, title, Space and place (or `bounds`), a new number, in front.
    // Returns the new number, 0 when the window was unknown.
    uint32_t ReopenWindow(uint32_t number, std::optional<Rect> bounds = std::nullopt);
    std::optional<Window> FindWindow(uint32_t number) const;
    // The stamp the window's current content carries; none when unknown.
    std::optional<Stamp> WindowStamp(uint32_t number) const;

    // The window server's answers.
    std::vector<WindowInfo> WindowList(bool onScreenOnly) const;
    std::optional<WindowInfo> WindowEntry(uint32_t number) const;
    // The window alone at its size in pixels (its points times the backing
    // scale of the display showing most of it; 1 on no display), filled
    // with its colour and stamped. Windows off screen are pictured too.
    ImageRef WindowImage(uint32_t number) const;

    // ---- The mouse.
    void SetMouse(Point location);
    Point Mouse() const;
    void SetCursorImage(const CursorImage& cursor);
    CursorImage Cursor() const;

    // ---- Faults.
    // Stalled streams deliver nothing at all (no frame, no Idle) until
    // released; Stop() is still answered.
    void SetStreamsStalled(bool stalled);
    bool StreamsStalled() const;
    void SetWindowImageFault(WindowImageFault fault);
    // Whether streams made from now on lend their frames (DisplayStream::
    // LendsFrames), as on Linux; off, they keep them to themselves as on macOS.
    void SetStreamsLendFrames(bool lend);
    bool StreamsLendFrames() const;

    // ---- The system's answers.
    void SetScreenRecordingPermission(bool granted);
    bool ScreenRecordingPermission() const;
    void SetResourceFolder(std::string folder);
    std::string ResourceFolder() const;
    // Alerts shown, sheets and modal ones alike, oldest first.
    void RecordAlert(const Alert& alert);
    std::vector<Alert> Alerts() const;
    // The button index that modal alerts answer (0 unless set).
    void SetModalAlertAnswer(int button);
    int ModalAlertAnswer() const;
    // Installer runs, oldest first: each is started by the platform and
    // runs until a test finishes it.
    void StartInstaller(std::string path, std::function<void(int exitStatus)> exited);
    std::vector<std::string> InstallerRuns() const;
    // Ends run `index` with `exitStatus`: its exit callback runs on the
    // calling thread. False when there is no such run or it has ended.
    bool FinishInstaller(size_t index, int exitStatus);

    // ---- Pacing and counters.
    SimClock& Clock() { return fClock; }
    SimCounters Counters() const { return fCounters.Snapshot(); }
    SimCounterSet& CounterSet() { return fCounters; }

private:
    Rect TopLeftFrame(const ScreenInfo& screen) const;
    void BumpDisplaysShowing(const Rect& bounds);
    void BumpAll();
    void Bump(uint32_t displayID);
    Window* Find(uint32_t number);
    const Window* Find(uint32_t number) const;
    WindowInfo Entry(const Window& window) const;
    bool Visible(const Window& window) const;
    double ScaleFor(const Rect& bounds) const;
    std::unique_ptr<SimTicker> TakeAnimation(uint32_t number);

    SimClock fClock;
    mutable SimCounterSet fCounters;
    mutable std::mutex fMutex;
    std::vector<ScreenInfo> fScreens;
    std::map<uint32_t, uint32_t> fDisplayCounters; // kept after unplugging: counters never go back
    std::map<uint32_t, bool> fAsleep;
    std::map<int32_t, std::optional<std::string>> fProcesses;
    std::vector<Window> fWindows; // front to back
    uint32_t fNextWindowNumber = 100;
    int fCurrentSpace = 1;
    Point fMouse;
    CursorImage fCursor;
    bool fStreamsStalled = false;
    bool fStreamsLend = true;
    WindowImageFault fWindowImageFault = WindowImageFault::None;
    bool fPermission = true;
    std::string fResourceFolder;
    std::vector<Alert> fAlerts;
    int fModalAnswer = 0;
    struct InstallerRun {
        std::string path;
        std::function<void(int)> exited; // empty once finished
    };
    std::vector<InstallerRun> fInstallerRuns;
    // Tickers touching animated windows; changed only outside fMutex, since
    // stopping one waits for a tick that takes fMutex.
    std::mutex fAnimationsMutex;
    std::map<uint32_t, std::unique_ptr<SimTicker>> fAnimations;
};

} // namespace qcp::platform::sim
