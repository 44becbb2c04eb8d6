#include "SimWorld.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "SimStamp.h"

namespace qcp::platform::sim {
namespace {

// An opaque colour derived from an identity, so neighbours look different.
uint32_t ColourOf(uint32_t identity) {
    const uint32_t mixed = identity * 2654435761u;
    return 0xFF000000u | (mixed & 0x00FFFFFFu) | 0x00404040u;
}

void FillRect(Surface& target, int x0, int y0, int x1, int y1, uint32_t bgra) {
    x0 = std::max(x0, 0);
    y0 = std::max(y0, 0);
    x1 = std::min<int>(x1, int(target.width()));
    y1 = std::min<int>(y1, int(target.height()));
    for (int y = y0; y < y1; ++y) {
        auto* row = reinterpret_cast<uint32_t*>(target.baseAddress() + size_t(y) * target.bytesPerRow());
        std::fill(row + x0, row + std::max(x0, x1), bgra);
    }
}

void StampIfRoom(Surface& target, int x, int y, const Stamp& stamp) {
    if (x >= 0 && y >= 0 && x + kStampCells * kStampCellPixels <= int(target.width()) &&
        y + kStampCellPixels <= int(target.height()))
        WriteStamp(target.baseAddress(), target.bytesPerRow(), x, y, stamp);
}

// A small arrow: opaque black with a white edge, premultiplied.
CursorImage DefaultCursor() {
    constexpr uint32_t kSize = 16;
    std::vector<uint8_t> pixels(kSize * kSize * 4, 0);
    for (uint32_t y = 0; y < kSize; ++y)
        for (uint32_t x = 0; x <= y / 1 && x < kSize; ++x) {
            const bool edge = x == 0 || x == y || y == kSize - 1;
            uint8_t* p = &pixels[(y * kSize + x) * 4];
            p[0] = p[1] = p[2] = edge ? 255 : 0;
            p[3] = 255;
        }
    return {std::make_shared<Image>(kSize, kSize, kSize * 4, std::move(pixels)), double(kSize), double(kSize),
            {1, 1}};
}

} // namespace

SimWorld::SimWorld() : fOwnPID(int32_t(getpid())), fCursor(DefaultCursor()) {}

void SimWorld::PopulateDefault(SimWorld& world) {
    world.AddScreen({1, {0, 0, 1920, 1080}, 1.0, "Simulated Display 27", 60});
    world.AddScreen({2, {1920, 56, 1280, 1024}, 1.0, "Simulated Display 19", 60});
    world.AddProcess(4242, "Notes");
    world.AddProcess(4300, "Terminal");
    world.AddProcess(4400, "Browser");
    world.AddProcess(4500, "Racer");
    world.AddProcess(world.OwnPID(), "Host");
    world.OpenWindow(4242, "Shopping list", {120, 140, 640, 480});
    world.OpenWindow(4300, "build", {900, 300, 800, 500});
    world.OpenWindow(4400, "Welcome", {2100, 200, 900, 700});
    const uint32_t game = world.OpenWindow(4500, "Racer", {0, 0, 1920, 1080});
    world.SetWindowSpace(game, 2);
    world.OpenWindow(world.OwnPID(), "Host Window", {300, 600, 500, 300});
    world.SetMouse({960, 540});
}

Rect SimWorld::TopLeftFrame(const ScreenInfo& screen) const {
    const double mainHeight = fScreens.empty() ? 0 : fScreens[0].frame.height;
    return {screen.frame.x, mainHeight - screen.frame.MaxY(), screen.frame.width, screen.frame.height};
}

void SimWorld::BumpDisplaysShowing(const Rect& bounds) {
    for (const ScreenInfo& screen : fScreens)
        if (TopLeftFrame(screen).Intersects(bounds)) ++fDisplayVersions[screen.displayID];
}

void SimWorld::BumpAll() {
    for (const ScreenInfo& screen : fScreens) ++fDisplayVersions[screen.displayID];
}

SimWorld::Window* SimWorld::Find(uint32_t number) {
    auto found = std::find_if(fWindows.begin(), fWindows.end(), [&](const Window& w) { return w.number == number; });
    return found == fWindows.end() ? nullptr : &*found;
}

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

void SimWorld::AddScreen(const ScreenInfo& screen) {
    std::lock_guard lock(fMutex);
    fScreens.push_back(screen);
    BumpAll();
}

void SimWorld::RemoveScreen(uint32_t displayID) {
    std::lock_guard lock(fMutex);
    std::erase_if(fScreens, [&](const ScreenInfo& s) { return s.displayID == displayID; });
    fDisplayVersions.erase(displayID);
    BumpAll();
}

void SimWorld::MoveScreenToIndex(uint32_t displayID, size_t index) {
    std::lock_guard lock(fMutex);
    auto found = std::find_if(fScreens.begin(), fScreens.end(), [&](auto& s) { return s.displayID == displayID; });
    if (found == fScreens.end()) return;
    ScreenInfo screen = *found;
    fScreens.erase(found);
    fScreens.insert(fScreens.begin() + std::min(index, fScreens.size()), screen);
    BumpAll();
}

void SimWorld::SetBackingScale(uint32_t displayID, double scale) {
    std::lock_guard lock(fMutex);
    for (ScreenInfo& screen : fScreens)
        if (screen.displayID == displayID) screen.backingScale = scale;
    BumpAll();
}

void SimWorld::ReconfigureScreen(uint32_t displayID, const Rect& frame) {
    std::lock_guard lock(fMutex);
    for (ScreenInfo& screen : fScreens)
        if (screen.displayID == displayID) screen.frame = frame;
    BumpAll();
}

std::vector<ScreenInfo> SimWorld::Screens() const {
    std::lock_guard lock(fMutex);
    return fScreens;
}

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
        ++window->frameCounter;
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
        ++window->frameCounter;
        BumpDisplaysShowing(window->bounds);
    }
}

void SimWorld::CloseWindow(uint32_t number) {
    std::lock_guard lock(fMutex);
    if (Window* window = Find(number)) BumpDisplaysShowing(window->bounds);
    std::erase_if(fWindows, [&](const Window& w) { return w.number == number; });
}

uint32_t SimWorld::ReopenWindow(uint32_t number, std::optional<Rect> bounds) {
    std::optional<Window> old = FindWindow(number);
    if (!old) return 0;
    CloseWindow(number);
    const uint32_t reopened = OpenWindow(old->pid, old->title, bounds.value_or(old->bounds));
    SetWindowSpace(reopened, old->space);
    return reopened;
}

void SimWorld::SetCurrentSpace(int space) {
    std::lock_guard lock(fMutex);
    fCurrentSpace = space;
    BumpAll();
}

std::optional<SimWorld::Window> SimWorld::FindWindow(uint32_t number) const {
    std::lock_guard lock(fMutex);
    auto* window = const_cast<SimWorld*>(this)->Find(number);
    return window ? std::optional<Window>(*window) : std::nullopt;
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
    std::lock_guard lock(fMutex);
    std::vector<WindowInfo> list;
    for (const Window& window : fWindows)
        if (!onScreenOnly || Visible(window)) list.push_back(Entry(window));
    return list;
}

std::optional<WindowInfo> SimWorld::WindowEntry(uint32_t number) const {
    std::lock_guard lock(fMutex);
    const Window* window = const_cast<SimWorld*>(this)->Find(number);
    return window ? std::optional<WindowInfo>(Entry(*window)) : std::nullopt;
}

ImageRef SimWorld::WindowImage(uint32_t number) const {
    std::lock_guard lock(fMutex);
    const Window* window = const_cast<SimWorld*>(this)->Find(number);
    if (!window || fWindowImageFault == WindowImageFault::Empty) return nullptr;
    const double scale = ScaleFor(window->bounds);
    const uint32_t width = uint32_t(std::lround(window->bounds.width * scale));
    const uint32_t height = uint32_t(std::lround(window->bounds.height * scale));
    if (width == 0 || height == 0) return nullptr;
    std::vector<uint8_t> pixels(size_t(width) * height * 4, 0);
    if (fWindowImageFault != WindowImageFault::Transparent) {
        const uint32_t colour = ColourOf(window->number);
        for (size_t i = 0; i < size_t(width) * height; ++i) std::memcpy(&pixels[i * 4], &colour, 4);
        if (width >= uint32_t(kStampCells * kStampCellPixels) && height >= uint32_t(kStampCellPixels))
            WriteStamp(pixels.data(), width * 4, 0, 0, {window->number, window->frameCounter});
    }
    return std::make_shared<Image>(width, height, width * 4, std::move(pixels));
}

uint64_t SimWorld::DisplayVersion(uint32_t displayID) const {
    std::lock_guard lock(fMutex);
    auto found = fDisplayVersions.find(displayID);
    return found == fDisplayVersions.end() ? 0 : found->second;
}

void SimWorld::TouchDisplay(uint32_t displayID) {
    std::lock_guard lock(fMutex);
    ++fDisplayVersions[displayID];
}

bool SimWorld::RenderDisplay(uint32_t displayID, const std::optional<Rect>& sourceRect, Surface& target) const {
    std::lock_guard lock(fMutex);
    auto screen = std::find_if(fScreens.begin(), fScreens.end(), [&](auto& s) { return s.displayID == displayID; });
    if (screen == fScreens.end()) return false;
    const Rect display = TopLeftFrame(*screen);
    const Rect source = sourceRect.value_or(Rect{0, 0, display.width, display.height});
    if (source.width <= 0 || source.height <= 0) return false;
    const double sx = target.width() / source.width, sy = target.height() / source.height;
    auto toTarget = [&](const Rect& r) { // display points to target pixels
        return Rect{(r.x - source.x) * sx, (r.y - source.y) * sy, r.width * sx, r.height * sy};
    };
    target.Lock();
    FillRect(target, 0, 0, int(target.width()), int(target.height()), ColourOf(displayID));
    for (auto window = fWindows.rbegin(); window != fWindows.rend(); ++window) { // back to front
        if (!Visible(*window)) continue;
        const Rect r = toTarget({window->bounds.x - display.x, window->bounds.y - display.y, window->bounds.width,
                                 window->bounds.height});
        FillRect(target, int(std::lround(r.x)), int(std::lround(r.y)), int(std::lround(r.MaxX())),
                 int(std::lround(r.MaxY())), ColourOf(window->number));
        StampIfRoom(target, int(std::lround(r.x)), int(std::lround(r.y)), {window->number, window->frameCounter});
    }
    auto version = fDisplayVersions.find(displayID);
    StampIfRoom(target, 0, 0, {displayID, uint32_t(version == fDisplayVersions.end() ? 0 : version->second)});
    target.Unlock();
    return true;
}

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

void SimWorld::SetStreamStalled(bool stalled) {
    std::lock_guard lock(fMutex);
    fStreamStalled = stalled;
}

bool SimWorld::StreamStalled() const {
    std::lock_guard lock(fMutex);
    return fStreamStalled;
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

} // namespace qcp::platform::sim
