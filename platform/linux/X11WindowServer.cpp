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
} // namespace

X11WindowServer::Link* X11WindowServer::Connected() const {
    return fServer.Refresh(fLink, X11Server::Reconnect::IfLost);
}

std::vector<WindowInfo> X11WindowServer::windowList(bool onScreenOnly) const {
    std::lock_guard lock(fMutex);
    if (!Connected()) return {};
    X11ErrorTrap trap(fLink->connection->display());
    fLink->images.ReadEvents();
    const X11Monitor main = MainMonitor();
    const long desktop = CurrentDesktop();
    std::vector<WindowInfo> windows;
    for (const Window client : ClientsFrontToBack()) {
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
    fLink->images.ReadEvents();
    if (!IsClient(number)) return std::nullopt;
    std::optional<WindowInfo> info = Describe(number, MainMonitor(), CurrentDesktop());
    if (!fLink->connection->usable()) return std::nullopt;
    return info;
}

ImageRef X11WindowServer::windowImage(uint32_t number) const {
    std::lock_guard lock(fMutex);
    if (!Connected()) return nullptr;
    X11ErrorTrap trap(fLink->connection->display());
    fLink->images.ReadEvents();
    if (!IsClient(number)) return nullptr;
    const std::optional<Frame> frame = ReadFrame(number);
    if (!frame || !frame->viewable) return nullptr;
    ImageRef image = fLink->images.Capture(number, frame->x, frame->y, frame->width, frame->height);
    if (!fLink->connection->usable()) return nullptr;
    return image;
}

int32_t X11WindowServer::ownPID() const { return int32_t(getpid()); }

std::optional<std::string> X11WindowServer::ProcessName(int32_t pid) {
    if (pid <= 0) return std::nullopt;
    std::ifstream comm("/proc/" + std::to_string(pid) + "/comm");
    std::string name;
    if (!std::getline(comm, name) || name.empty()) return std::nullopt;
    return name;
}

std::vector<Window> X11WindowServer::ClientsFrontToBack() const {
    Display* display = fLink->connection->display();
    const Window root = fLink->connection->root();
    std::optional<std::vector<unsigned long>> clients =
        X11Properties::ReadLongs(display, root, fLink->atoms.netClientListStacking, XA_WINDOW);
    // Without the stacking list, the managing order is the best guess.
    if (!clients) clients = X11Properties::ReadLongs(display, root, fLink->atoms.netClientList, XA_WINDOW);
    std::vector<Window> windows;
    if (clients) {
        windows.assign(clients->rbegin(), clients->rend());
        return windows;
    }
    // No window manager: the root's own children, bottom to top, that a user
    // could see (not the override-redirect menus and tooltips).
    Window rootReturn = None, parent = None;
    Window* children = nullptr;
    unsigned count = 0;
    if (!XQueryTree(display, root, &rootReturn, &parent, &children, &count)) return windows;
    for (unsigned i = count; i-- > 0;) {
        XWindowAttributes attributes{};
        if (XGetWindowAttributes(display, children[i], &attributes) && attributes.c_class == InputOutput &&
            !attributes.override_redirect)
            windows.push_back(children[i]);
    }
    if (children) XFree(children);
    return windows;
}

bool X11WindowServer::IsClient(Window window) const {
    if (window == None) return false;
    const std::vector<Window> clients = ClientsFrontToBack();
    return std::find(clients.begin(), clients.end(), window) != clients.end();
}

std::optional<X11WindowServer::Frame> X11WindowServer::ReadFrame(Window client) const {
    Display* display = fLink->connection->display();
    XWindowAttributes attributes{};
    int x = 0, y = 0;
    Window child = None;
    if (!XGetWindowAttributes(display, client, &attributes) ||
        !XTranslateCoordinates(display, client, fLink->connection->root(), 0, 0, &x, &y, &child))
        return std::nullopt;
    // left, right, top, bottom
    const std::vector<unsigned long> extents =
        X11Properties::ReadLongs(display, client, fLink->atoms.netFrameExtents, XA_CARDINAL)
            .value_or(std::vector<unsigned long>{});
    const auto extent = [&](size_t i) { return extents.size() == 4 ? int(extents[i]) : 0; };
    return Frame{x - extent(0), y - extent(2), attributes.width + extent(0) + extent(1),
                 attributes.height + extent(2) + extent(3), attributes.map_state == IsViewable};
}

std::optional<WindowInfo> X11WindowServer::Describe(Window client, const X11Monitor& main, long currentDesktop) const {
    Display* display = fLink->connection->display();
    const std::optional<Frame> frame = ReadFrame(client);
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
    info.bounds = {double(frame->x - main.x), double(frame->y - main.y), double(frame->width), double(frame->height)};
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

X11Monitor X11WindowServer::MainMonitor() const {
    Display* display = fLink->connection->display();
    return X11Monitors::ReadMain(display, fLink->connection->root());
}

} // namespace qcp::platform::x11
