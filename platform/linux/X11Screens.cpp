#include "X11Screens.h"

#include "X11ErrorTrap.h"
#include "X11Monitors.h"
#include "zTime.h"

namespace qcp::platform::x11 {

X11Screens::Link::Link(std::unique_ptr<X11Connection> made)
    : connection(std::move(made)), atoms(connection->display()) {
    Display* display = connection->display();
    int errorBase = 0;
    if (!XRRQueryExtension(display, &randrEventBase, &errorBase)) {
        randrEventBase = -1;
        return;
    }
    X11ErrorTrap trap(display);
    XRRSelectInput(display, connection->root(),
                   RRScreenChangeNotifyMask | RRCrtcChangeNotifyMask | RROutputChangeNotifyMask |
                       RROutputPropertyNotifyMask);
}

void X11Screens::list(std::vector<ScreenInfo>& screens) const {
    std::lock_guard lock(fMutex);
    Fill(screens, nullptr);
}

Point X11Screens::listWithMouse(std::vector<ScreenInfo>& screens) const {
    std::lock_guard lock(fMutex);
    Point mouse;
    Fill(screens, &mouse);
    return mouse;
}

void X11Screens::Fill(std::vector<ScreenInfo>& screens, Point* mouse) const {
    Link* link = fServer.Refresh(fLink, X11Server::Reconnect::IfLost);
    if (!link) return screens.clear();
    Display* display = link->connection->display();
    const Window root = link->connection->root();
    // The cursor asks at every refresh: the monitors it read are kept while
    // no change can have gone unseen.
    const int64_t now = zTime::MicroNow();
    const bool keep = mouse && link->monitorsRead && now - *link->monitorsRead < X11Monitors::kUnreportedChangeMicros;
    std::optional<X11Pointer> pointer;
    if (keep) pointer = X11Monitors::ReadPointer(display, root);
    else if (mouse) pointer = X11Monitors::ReadWithPointer(display, root, fMonitors);
    // Set after XCB's questions, which it would otherwise sync for.
    X11ErrorTrap trap(display);
    if (!mouse) X11Monitors::Read(display, root, fMonitors);
    // A change reported before the answer came before it: kept monitors are stale.
    const bool changed = DropDetailsOnChange(*link);
    if (changed && keep) X11Monitors::Read(display, root, fMonitors);
    if (changed || !keep) link->monitorsRead = now;
    if (pointer) *mouse = X11Monitors::GlobalPoint(*pointer, X11Monitors::Main(display, fMonitors));
    if (!link->connection->usable()) { // lost while reading
        if (mouse) *mouse = {};
        return screens.clear();
    }
    // Assigned into the elements kept, so that their names keep their memory.
    screens.resize(fMonitors.size());
    for (size_t i = 0; i < fMonitors.size(); ++i) {
        const OutputDetails& details = Details(*link, fMonitors[i]);
        ScreenInfo& screen = screens[i];
        screen.displayID = fMonitors[i].displayID;
        screen.frame = X11Monitors::GlobalFrame(fMonitors[i], fMonitors.front());
        screen.backingScale = 1.0;
        screen.productName = details.productName;
        screen.refreshRate = details.refreshRate;
    }
}

std::optional<ScreenInfo> X11Screens::screen(uint32_t displayID) const {
    for (ScreenInfo& screen : list())
        if (screen.displayID == displayID) return std::move(screen);
    return std::nullopt;
}

bool X11Screens::DropDetailsOnChange(Link& link) {
    Display* display = link.connection->display();
    // An answer has been read, so every change the server made before it
    // has arrived. The socket is looked at once (XCB keeps the events that
    // came with answers it read until Xlib reads), then Xlib's queue.
    bool changed = false;
    for (int queued = XEventsQueued(display, QueuedAfterReading); queued > 0;
         queued = XEventsQueued(display, QueuedAlready)) {
        XEvent event;
        XNextEvent(display, &event);
        if (link.randrEventBase < 0) continue;
        if (event.type == link.randrEventBase + RRScreenChangeNotify) XRRUpdateConfiguration(&event);
        if (event.type == link.randrEventBase + RRScreenChangeNotify || event.type == link.randrEventBase + RRNotify)
            changed = true;
    }
    if (changed) link.details.clear();
    return changed;
}

const X11Screens::OutputDetails& X11Screens::Details(Link& link, const X11Monitor& monitor) {
    auto found = link.details.find(monitor.displayID);
    if (found == link.details.end())
        found = link.details.emplace(monitor.displayID, ReadDetails(link, monitor)).first;
    return found->second;
}

X11Screens::OutputDetails X11Screens::ReadDetails(const Link& link, const X11Monitor& monitor) {
    Display* display = link.connection->display();
    OutputDetails details;
    if (monitor.output == None) {
        if (monitor.name != None) {
            if (char* name = XGetAtomName(display, monitor.name)) {
                details.productName = name;
                XFree(name);
            }
        }
        return details;
    }
    // The EDID's monitor name first.
    Atom type = None;
    int format = 0;
    unsigned long count = 0, remaining = 0;
    unsigned char* edid = nullptr;
    if (XRRGetOutputProperty(display, monitor.output, link.atoms.edid, 0, 64, False, False, AnyPropertyType, &type, &format,
                             &count, &remaining, &edid) == Success &&
        edid) {
        if (format == 8) details.productName = X11Monitors::EdidProductName(edid, count);
        XFree(edid);
    }
    XRRScreenResources* resources = XRRGetScreenResourcesCurrent(display, link.connection->root());
    if (!resources) return details;
    if (XRROutputInfo* output = XRRGetOutputInfo(display, resources, monitor.output)) {
        if (!details.productName) details.productName = std::string(output->name, size_t(output->nameLen));
        if (output->crtc != None) {
            if (XRRCrtcInfo* crtc = XRRGetCrtcInfo(display, resources, output->crtc)) {
                for (int i = 0; i < resources->nmode; ++i)
                    if (resources->modes[i].id == crtc->mode)
                        details.refreshRate = X11Monitors::RefreshRate(resources->modes[i]);
                XRRFreeCrtcInfo(crtc);
            }
        }
        XRRFreeOutputInfo(output);
    }
    XRRFreeScreenResources(resources);
    return details;
}

} // namespace qcp::platform::x11
