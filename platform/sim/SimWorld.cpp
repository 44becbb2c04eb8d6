#include "SimWorld.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "SimPainter.h"

namespace qcp::platform::sim {

SimWorld::SimWorld()
    : fCursor(SimPainter::ArrowCursor()),
      fResourceFolder((std::filesystem::temp_directory_path() / "qcp-sim-resources").string()) {}

SimWorld::~SimWorld() {
    // Animation ticks touch the world: they end before it does.
    std::lock_guard lock(fAnimationsMutex);
    fAnimations.clear();
}

// ---- Helpers; the caller holds fMutex.

Rect SimWorld::TopLeftFrame(const ScreenInfo& screen) const {
    const double mainHeight = fScreens.empty() ? 0 : fScreens[0].frame.height;
    return {screen.frame.x, mainHeight - screen.frame.MaxY(), screen.frame.width, screen.frame.height};
}

void SimWorld::Bump(uint32_t displayID) { ++fDisplayCounters[displayID]; }

void SimWorld::BumpDisplaysShowing(const Rect& bounds) {
    for (const ScreenInfo& screen : fScreens)
        if (TopLeftFrame(screen).Intersects(bounds)) Bump(screen.displayID);
}

void SimWorld::BumpAll() {
    for (const ScreenInfo& screen : fScreens) Bump(screen.displayID);
}

SimWorld::Window* SimWorld::Find(uint32_t number) {
    auto found = std::find_if(fWindows.begin(), fWindows.end(), [&](const Window& w) { return w.number == number; });
    return found == fWindows.end() ? nullptr : &*found;
}

const SimWorld::Window* SimWorld::Find(uint32_t number) const { return const_cast<SimWorld*>(this)->Find(number); }

bool SimWorld::Visible(const Window& window) const {
    return window.space == fCurrentSpace && !window.minimised && !window.hidden;
}

double SimWorld::ScaleFor(const Rect& bounds) const {
    double best = 0, scale = 1.0;
    for (const ScreenInfo& screen : fScreens) {
        const Rect overlap = TopLeftFrame(screen).Intersection(bounds);
        if (overlap.width * overlap.height > best) {
            best = overlap.width * overlap.height;
            scale = screen.backingScale;
        }
    }
    return scale;
}

// ---- Displays.

void SimWorld::AddScreen(const ScreenInfo& screen) {
    std::lock_guard lock(fMutex);
    auto found = std::find_if(fScreens.begin(), fScreens.end(), [&](auto& s) { return s.displayID == screen.displayID; });
    if (found != fScreens.end())
        *found = screen;
    else
        fScreens.push_back(screen);
    BumpAll();
}

void SimWorld::RemoveScreen(uint32_t displayID) {
    std::lock_guard lock(fMutex);
    std::erase_if(fScreens, [&](const ScreenInfo& s) { return s.displayID == displayID; });
    BumpAll();
}

void SimWorld::MoveScreenToIndex(uint32_t displayID, size_t index) {
    std::lock_guard lock(fMutex);
    auto found = std::find_if(fScreens.begin(), fScreens.end(), [&](auto& s) { return s.displayID == displayID; });
    if (found == fScreens.end()) return;
    const ScreenInfo screen = *found;
    fScreens.erase(found);
    fScreens.insert(fScreens.begin() + std::ptrdiff_t(std::min(index, fScreens.size())), screen);
    BumpAll();
}

void SimWorld::SetBackingScale(uint32_t displayID, double scale) {
    std::lock_guard lock(fMutex);
    for (ScreenInfo& screen : fScreens)
        if (screen.displayID == displayID) {
            screen.backingScale = scale;
            Bump(displayID);
        }
}

void SimWorld::ReconfigureScreen(uint32_t displayID, const Rect& frame) {
    std::lock_guard lock(fMutex);
    for (ScreenInfo& screen : fScreens)
        if (screen.displayID == displayID) screen.frame = frame;
    BumpAll();
}

void SimWorld::SetDisplayAsleep(uint32_t displayID, bool asleep) {
    std::lock_guard lock(fMutex);
    if (std::none_of(fScreens.begin(), fScreens.end(), [&](auto& s) { return s.displayID == displayID; })) return;
    fAsleep[displayID] = asleep;
    Bump(displayID); // waking shows the content afresh
}

void SimWorld::TouchDisplay(uint32_t displayID) {
    std::lock_guard lock(fMutex);
    if (std::any_of(fScreens.begin(), fScreens.end(), [&](auto& s) { return s.displayID == displayID; }))
        Bump(displayID);
}

std::vector<ScreenInfo> SimWorld::Screens() const {
    std::lock_guard lock(fMutex);
    return fScreens;
}

std::optional<ScreenInfo> SimWorld::Screen(uint32_t displayID) const {
    std::lock_guard lock(fMutex);
    for (const ScreenInfo& screen : fScreens)
        if (screen.displayID == displayID) return screen;
    return std::nullopt;
}

std::optional<Stamp> SimWorld::DisplayStamp(uint32_t displayID) const {
    std::lock_guard lock(fMutex);
    for (const ScreenInfo& screen : fScreens)
        if (screen.displayID == displayID) return Stamp{displayID, fDisplayCounters.at(displayID)};
    return std::nullopt;
}

std::optional<SimWorld::DisplayScene> SimWorld::Scene(uint32_t displayID) const {
    DisplayScene scene;
    if (!FillScene(displayID, scene)) return std::nullopt;
    return scene;
}

bool SimWorld::FillScene(uint32_t displayID, DisplayScene& scene) const {
    std::lock_guard lock(fMutex);
    auto screen = std::find_if(fScreens.begin(), fScreens.end(), [&](auto& s) { return s.displayID == displayID; });
    if (screen == fScreens.end()) return false;
    scene.displayID = displayID;
    scene.counter = fDisplayCounters.at(displayID);
    auto asleep = fAsleep.find(displayID);
    scene.asleep = asleep != fAsleep.end() && asleep->second;
    scene.frame = TopLeftFrame(*screen);
    scene.windows.clear();
    for (auto window = fWindows.rbegin(); window != fWindows.rend(); ++window)
        if (Visible(*window) && window->bounds.Intersects(scene.frame))
            scene.windows.push_back({window->number, window->bounds, window->counter});
    return true;
}

// ---- Processes and windows.

void SimWorld::AddProcess(int32_t pid, std::optional<std::string> name) {
    std::lock_guard lock(fMutex);
    fProcesses[pid] = std::move(name);
}

uint32_t SimWorld::OpenWindow(int32_t pid, std::optional<std::string> title, const Rect& bounds) {
    std::lock_guard lock(fMutex);
    Window window;
    window.number = fNextWindowNumber++;
    window.pid = pid;
    window.title = std::move(title);
    window.bounds = bounds;
    window.space = fCurrentSpace;
    fWindows.insert(fWindows.begin(), window);
    BumpDisplaysShowing(bounds);
    return window.number;
}

void SimWorld::MoveWindow(uint32_t number, double x, double y) {
    std::lock_guard lock(fMutex);
    if (Window* window = Find(number)) {
        BumpDisplaysShowing(window->bounds);
        window->bounds.x = x;
        window->bounds.y = y;
        BumpDisplaysShowing(window->bounds);
    }
}

void SimWorld::ResizeWindow(uint32_t number, double width, double height) {
    std::lock_guard lock(fMutex);
    if (Window* window = Find(number)) {
        BumpDisplaysShowing(window->bounds);
        window->bounds.width = width;
        window->bounds.height = height;
        ++window->counter;
        BumpDisplaysShowing(window->bounds);
    }
}

void SimWorld::RetitleWindow(uint32_t number, std::optional<std::string> title) {
    std::lock_guard lock(fMutex);
    if (Window* window = Find(number)) window->title = std::move(title);
}

void SimWorld::SetWindowSpace(uint32_t number, int space) {
    std::lock_guard lock(fMutex);
    if (Window* window = Find(number)) {
        window->space = space;
        BumpDisplaysShowing(window->bounds);
    }
}

void SimWorld::SetCurrentSpace(int space) {
    std::lock_guard lock(fMutex);
    fCurrentSpace = space;
    BumpAll();
}

void SimWorld::MinimiseWindow(uint32_t number, bool minimised) {
    std::lock_guard lock(fMutex);
    if (Window* window = Find(number)) {
        window->minimised = minimised;
        BumpDisplaysShowing(window->bounds);
    }
}

void SimWorld::HideWindow(uint32_t number, bool hidden) {
    std::lock_guard lock(fMutex);
    if (Window* window = Find(number)) {
        window->hidden = hidden;
        BumpDisplaysShowing(window->bounds);
    }
}

void SimWorld::RaiseWindow(uint32_t number) {
    std::lock_guard lock(fMutex);
    auto found = std::find_if(fWindows.begin(), fWindows.end(), [&](auto& w) { return w.number == number; });
    if (found == fWindows.end()) return;
    std::rotate(fWindows.begin(), found, found + 1);
    BumpDisplaysShowing(fWindows.front().bounds);
}

void SimWorld::TouchWindow(uint32_t number) {
    std::lock_guard lock(fMutex);
    if (Window* window = Find(number)) {
        ++window->counter;
        if (Visible(*window)) BumpDisplaysShowing(window->bounds);
    }
}

void SimWorld::AnimateWindow(uint32_t number, double framesPerSecond) {
    std::lock_guard lock(fAnimationsMutex);
    fAnimations.erase(number); // waits for a tick in progress
    if (framesPerSecond > 0 && FindWindow(number))
        fAnimations[number] = std::make_unique<SimTicker>(fClock, "sim animation", SimTicker::PeriodFor(framesPerSecond),
                                                          [this, number] { TouchWindow(number); });
}

std::unique_ptr<SimTicker> SimWorld::TakeAnimation(uint32_t number) {
    std::lock_guard lock(fAnimationsMutex);
    auto found = fAnimations.find(number);
    if (found == fAnimations.end()) return nullptr;
    std::unique_ptr<SimTicker> ticker = std::move(found->second);
    fAnimations.erase(found);
    return ticker;
}

void SimWorld::CloseWindow(uint32_t number) {
    TakeAnimation(number).reset();
    std::lock_guard lock(fMutex);
    if (Window* window = Find(number)) {
        if (Visible(*window)) BumpDisplaysShowing(window->bounds);
        std::erase_if(fWindows, [&](const Window& w) { return w.number == number; });
    }
}

uint32_t SimWorld::ReopenWindow(uint32_t number, std::optional<Rect> bounds) {
    TakeAnimation(number).reset();
    std::lock_guard lock(fMutex);
    const Window* old = Find(number);
    if (!old) return 0;
    Window reopened = *old;
    if (Visible(reopened)) BumpDisplaysShowing(reopened.bounds);
    std::erase_if(fWindows, [&](const Window& w) { return w.number == number; });
    reopened.number = fNextWindowNumber++;
    reopened.bounds = bounds.value_or(reopened.bounds);
    reopened.minimised = reopened.hidden = false;
    reopened.counter = 0;
    fWindows.insert(fWindows.begin(), reopened);
    if (Visible(reopened)) BumpDisplaysShowing(reopened.bounds);
    return reopened.number;
}

std::optional<SimWorld::Window> SimWorld::FindWindow(uint32_t number) const {
    std::lock_guard lock(fMutex);
    const Window* window = Find(number);
    return window ? std::optional<Window>(*window) : std::nullopt;
}

std::optional<Stamp> SimWorld::WindowStamp(uint32_t number) const {
    std::lock_guard lock(fMutex);
    const Window* window = Find(number);
    return window ? std::optional<Stamp>(Stamp{number, window->counter}) : std::nullopt;
}

WindowInfo SimWorld::Entry(const Window& window) const {
    WindowInfo info;
    info.number = window.number;
    info.title = window.title;
    if (auto process = fProcesses.find(window.pid); process != fProcesses.end()) info.ownerName = process->second;
    info.ownerPID = window.pid;
    info.bounds = window.bounds;
    info.onScreen = Visible(window);
    return info;
}

std::vector<WindowInfo> SimWorld::WindowList(bool onScreenOnly) const {
    fCounters.windowLists.fetch_add(1, std::memory_order_relaxed);
    std::lock_guard lock(fMutex);
    std::vector<WindowInfo> list;
    for (const Window& window : fWindows)
        if (!onScreenOnly || Visible(window)) list.push_back(Entry(window));
    return list;
}

std::optional<WindowInfo> SimWorld::WindowEntry(uint32_t number) const {
    std::lock_guard lock(fMutex);
    const Window* window = Find(number);
    return window ? std::optional<WindowInfo>(Entry(*window)) : std::nullopt;
}

ImageRef SimWorld::WindowImage(uint32_t number) const {
    Stamp stamp;
    uint32_t width = 0, height = 0;
    WindowImageFault fault;
    {
        std::lock_guard lock(fMutex);
        const Window* window = Find(number);
        if (!window) return nullptr;
        const double scale = ScaleFor(window->bounds);
        width = uint32_t(std::max(0.0, std::round(window->bounds.width * scale)));
        height = uint32_t(std::max(0.0, std::round(window->bounds.height * scale)));
        stamp = {number, window->counter};
        fault = fWindowImageFault;
    }
    fCounters.windowImages.fetch_add(1, std::memory_order_relaxed);
    if (fault == WindowImageFault::Missing || width == 0 || height == 0) return nullptr;
    return SimPainter::PaintWindow(stamp, width, height, fault == WindowImageFault::Transparent);
}

// ---- The mouse, faults and the system's answers.

void SimWorld::SetMouse(Point location) {
    std::lock_guard lock(fMutex);
    fMouse = location;
}

Point SimWorld::Mouse() const {
    std::lock_guard lock(fMutex);
    return fMouse;
}

void SimWorld::SetCursorImage(const CursorImage& cursor) {
    std::lock_guard lock(fMutex);
    fCursor = cursor;
}

CursorImage SimWorld::Cursor() const {
    std::lock_guard lock(fMutex);
    return fCursor;
}

void SimWorld::SetStreamsStalled(bool stalled) {
    std::lock_guard lock(fMutex);
    fStreamsStalled = stalled;
}

void SimWorld::SetStreamsLendFrames(bool lend) {
    std::lock_guard lock(fMutex);
    fStreamsLend = lend;
}

bool SimWorld::StreamsLendFrames() const {
    std::lock_guard lock(fMutex);
    return fStreamsLend;
}

bool SimWorld::StreamsStalled() const {
    std::lock_guard lock(fMutex);
    return fStreamsStalled;
}

void SimWorld::SetWindowImageFault(WindowImageFault fault) {
    std::lock_guard lock(fMutex);
    fWindowImageFault = fault;
}

void SimWorld::SetScreenRecordingPermission(bool granted) {
    std::lock_guard lock(fMutex);
    fPermission = granted;
}

bool SimWorld::ScreenRecordingPermission() const {
    std::lock_guard lock(fMutex);
    return fPermission;
}

void SimWorld::SetResourceFolder(std::string folder) {
    std::lock_guard lock(fMutex);
    fResourceFolder = std::move(folder);
}

std::string SimWorld::ResourceFolder() const {
    std::lock_guard lock(fMutex);
    return fResourceFolder;
}

void SimWorld::RecordAlert(const Alert& alert) {
    std::lock_guard lock(fMutex);
    fAlerts.push_back(alert);
}

std::vector<Alert> SimWorld::Alerts() const {
    std::lock_guard lock(fMutex);
    return fAlerts;
}

void SimWorld::SetModalAlertAnswer(int button) {
    std::lock_guard lock(fMutex);
    fModalAnswer = button;
}

int SimWorld::ModalAlertAnswer() const {
    std::lock_guard lock(fMutex);
    return fModalAnswer;
}

void SimWorld::StartInstaller(std::string path, std::function<void(int exitStatus)> exited) {
    std::lock_guard lock(fMutex);
    fInstallerRuns.push_back({std::move(path), std::move(exited)});
}

std::vector<std::string> SimWorld::InstallerRuns() const {
    std::lock_guard lock(fMutex);
    std::vector<std::string> paths;
    for (const InstallerRun& run : fInstallerRuns) paths.push_back(run.path);
    return paths;
}

bool SimWorld::FinishInstaller(size_t index, int exitStatus) {
    std::function<void(int)> exited;
    {
        std::lock_guard lock(fMutex);
        if (index >= fInstallerRuns.size() || !fInstallerRuns[index].exited) return false;
        exited = std::move(fInstallerRuns[index].exited);
        fInstallerRuns[index].exited = nullptr;
    }
    // Outside the lock: the callback may well ask the world again.
    exited(exitStatus);
    return true;
}

} // namespace qcp::platform::sim
