#include "X11WindowServer.h"

#include <X11/Xatom.h>
#include <X11/Xutil.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>

#include "X11ClientIdentity.h"
#include "X11ErrorTrap.h"
#include "X11Properties.h"

namespace qcp::platform::x11 {
namespace {
// _NET_WM_DESKTOP of a window shown on every desktop.
constexpr unsigned long kAllDesktops = 0xFFFFFFFF;

// A window's bounds as the seam gives them: from the main monitor's top-left.
Rect BoundsOf(const X11WindowPlace& place, const X11Monitor& main) {
    return {double(place.x - main.x), double(place.y - main.y), double(place.width), double(place.height)};
}
} // namespace

X11WindowServer::Link* X11WindowServer::Connected() const {
    return fServer.Refresh(fLink, X11Server::Reconnect::IfLost);
}

std::vector<WindowInfo> X11WindowServer::windowList(bool onScreenOnly) const {
    std::lock_guard lock(fMutex);
    if (!Connected()) return {};
    X11ErrorTrap trap(fLink->connection->display());
    X11Monitor main;
    ReadEvents(&main);
    const long desktop = CurrentDesktop();
    std::vector<WindowInfo> windows;
    for (const Window client : fLink->watch.Clients()) {
        std::optional<WindowInfo> info = Describe(client, main, desktop);
        if (info && (info->onScreen || !onScreenOnly)) windows.push_back(std::move(*info));
    }
    if (!fLink->connection->usable()) return {}; // lost while reading
    return windows;
}

std::optional<WindowInfo> X11WindowServer::window(uint32_t number) const {
    std::lock_guard lock(fMutex);
    if (!Connected()) return std::nullopt;
    X11ErrorTrap trap(fLink->connection->display());
    X11Monitor main;
    ReadEvents(&main);
    if (!fLink->watch.IsClient(number)) return std::nullopt;
    std::optional<WindowInfo> info = Describe(number, main, CurrentDesktop());
    if (!fLink->connection->usable()) return std::nullopt;
    return info;
}

std::optional<Rect> X11WindowServer::windowBounds(uint32_t number) const {
    std::lock_guard lock(fMutex);
    if (!Connected()) return std::nullopt;
    X11ErrorTrap trap(fLink->connection->display());
    X11Monitor main;
    ReadEvents(&main);
    if (!fLink->watch.IsClient(number)) return std::nullopt;
    const std::optional<X11WindowPlace> place = fLink->watch.Place(number);
    if (!place || !fLink->connection->usable()) return std::nullopt;
    return BoundsOf(*place, main);
}

ImageRef X11WindowServer::windowImage(uint32_t number) const {
    return ReadWindow<ImageRef>(number, nullptr,
                                [&](const X11WindowPlace& place) { return fLink->images.Capture(place); });
}

WindowFrame X11WindowServer::ReadFrame(uint32_t number, uint64_t reader, bool withBounds) const {
    X11Monitor main;
    return ReadWindow<WindowFrame>(number, withBounds ? &main : nullptr, [&](const X11WindowPlace& place) {
        WindowFrame frame = fLink->images.CaptureFrame(place, reader);
        if (frame.surface && withBounds) frame.bounds = BoundsOf(place, main);
        return frame;
    });
}

void X11WindowServer::ForgetReader(uint64_t reader) const {
    std::lock_guard lock(fMutex);
    if (!fLink) return;
    X11ErrorTrap trap(fLink->connection->display());
    fLink->images.ForgetReader(reader);
}

bool X11WindowServer::ReadsFrames() const {
    std::lock_guard lock(fMutex);
    return Connected() && fLink->images.ReadsFrames();
}

int32_t X11WindowServer::ownPID() const { return int32_t(getpid()); }

std::optional<std::string> X11WindowServer::ProcessName(int32_t pid) {
    if (pid <= 0) return std::nullopt;
    std::ifstream comm("/proc/" + std::to_string(pid) + "/comm");
    std::string name;
    if (!std::getline(comm, name) || name.empty()) return std::nullopt;
    return name;
}

void X11WindowServer::ReadEvents(X11Monitor* main) const {
    Display* display = fLink->connection->display();
    // One round trip first: the server reports a change to every client as
    // it makes it but sends each its reports in its own time, so a window
    // another client has just closed could otherwise still be answered for.
    // After its answer, every change made before this question has been
    // heard. A caller that needs the main monitor has it asked as that
    // question; a bare sync is answered sooner.
    if (main) *main = X11Monitors::ReadMain(display, fLink->connection->root());
    else XSync(display, False);
    while (XEventsQueued(display, QueuedAlready) > 0) {
        XEvent event;
        XNextEvent(display, &event);
        fLink->watch.OnEvent(event);
        fLink->images.OnEvent(event);
    }
}

std::optional<WindowInfo> X11WindowServer::Describe(Window client, const X11Monitor& main, long currentDesktop) const {
    Display* display = fLink->connection->display();
    const std::optional<X11WindowPlace> frame = fLink->watch.Place(client);
    if (!frame) return std::nullopt; // gone meanwhile
    WindowInfo info;
    info.number = uint32_t(client);
    info.title = X11Properties::ReadTitle(display, client, fLink->atoms);
    std::optional<unsigned long> claimedPID;
    if (auto pid = X11Properties::ReadLongs(display, client, fLink->atoms.netWmPid, XA_CARDINAL); pid && !pid->empty())
        claimedPID = pid->front();
    const std::optional<std::string> className = X11Properties::ReadClassName(display, client);
    const X11ClientIdentity::Owner owner =
        X11ClientIdentity::Identify(claimedPID, className, X11Properties::ReadClientMachine(display, client),
                                    X11ClientIdentity::LocalHostName());
    info.ownerPID = owner.id;
    if (owner.isProcess) info.ownerName = ProcessName(owner.id);
    if (!info.ownerName) info.ownerName = className;
    info.bounds = BoundsOf(*frame, main);
    info.onScreen = frame->viewable && OnCurrentDesktop(client, currentDesktop) && !HiddenOrMinimised(client);
    return info;
}

bool X11WindowServer::OnCurrentDesktop(Window client, long currentDesktop) const {
    const auto desktop = X11Properties::ReadLongs(fLink->connection->display(), client, fLink->atoms.netWmDesktop, XA_CARDINAL);
    if (currentDesktop < 0 || !desktop || desktop->empty()) return true;
    return desktop->front() == kAllDesktops || long(desktop->front()) == currentDesktop;
}

bool X11WindowServer::HiddenOrMinimised(Window client) const {
    Display* display = fLink->connection->display();
    if (const auto states = X11Properties::ReadLongs(display, client, fLink->atoms.netWmState, XA_ATOM);
        states && std::find(states->begin(), states->end(), fLink->atoms.netWmStateHidden) != states->end())
        return true;
    const auto wmState = X11Properties::ReadLongs(display, client, fLink->atoms.wmState, fLink->atoms.wmState);
    return wmState && !wmState->empty() && wmState->front() == IconicState;
}

long X11WindowServer::CurrentDesktop() const {
    const auto desktop =
        X11Properties::ReadLongs(fLink->connection->display(), fLink->connection->root(), fLink->atoms.netCurrentDesktop, XA_CARDINAL);
    return desktop && !desktop->empty() ? long(desktop->front()) : -1;
}


} // namespace qcp::platform::x11
