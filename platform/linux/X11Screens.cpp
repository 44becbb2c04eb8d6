#include "X11Screens.h"

#include "X11ErrorTrap.h"
#include "X11Monitors.h"

namespace qcp::platform::x11 {

X11Screens::X11Screens(std::unique_ptr<X11Connection> connection)
    : fConnection(std::move(connection)), fAtoms(fConnection->display()) {
    Display* display = fConnection->display();
    int errorBase = 0;
    if (!XRRQueryExtension(display, &fRandrEventBase, &errorBase)) {
        fRandrEventBase = -1;
        return;
    }
    X11ErrorTrap trap(display);
    XRRSelectInput(display, fConnection->root(),
                   RRScreenChangeNotifyMask | RRCrtcChangeNotifyMask | RROutputChangeNotifyMask |
                       RROutputPropertyNotifyMask);
}

std::vector<ScreenInfo> X11Screens::list() const {
    std::lock_guard lock(fConnection->mutex());
    Display* display = fConnection->display();
    X11ErrorTrap trap(display);
    const std::vector<X11Monitor> monitors = X11Monitors::Read(display, fConnection->root());
    DropDetailsOnChange();
    std::vector<ScreenInfo> screens;
    screens.reserve(monitors.size());
    for (const X11Monitor& monitor : monitors) {
        const OutputDetails& details = Details(monitor);
        screens.push_back({monitor.displayID, X11Monitors::GlobalFrame(monitor, monitors.front()), 1.0,
                           details.productName, details.refreshRate});
    }
    return screens;
}

std::optional<ScreenInfo> X11Screens::screen(uint32_t displayID) const {
    for (ScreenInfo& screen : list())
        if (screen.displayID == displayID) return std::move(screen);
    return std::nullopt;
}

void X11Screens::DropDetailsOnChange() const {
    Display* display = fConnection->display();
    // The monitors' answer has been read, so every change the server made
    // before it is queued by now.
    bool changed = false;
    while (XEventsQueued(display, QueuedAlready) > 0) {
        XEvent event;
        XNextEvent(display, &event);
        if (fRandrEventBase < 0) continue;
        if (event.type == fRandrEventBase + RRScreenChangeNotify) XRRUpdateConfiguration(&event);
        if (event.type == fRandrEventBase + RRScreenChangeNotify || event.type == fRandrEventBase + RRNotify)
            changed = true;
    }
    if (changed) fDetails.clear();
}

const X11Screens::OutputDetails& X11Screens::Details(const X11Monitor& monitor) const {
    auto found = fDetails.find(monitor.displayID);
    if (found == fDetails.end()) found = fDetails.emplace(monitor.displayID, ReadDetails(monitor)).first;
    return found->second;
}

X11Screens::OutputDetails X11Screens::ReadDetails(const X11Monitor& monitor) const {
    Display* display = fConnection->display();
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
    if (XRRGetOutputProperty(display, monitor.output, fAtoms.edid, 0, 64, False, False, AnyPropertyType, &type, &format,
                             &count, &remaining, &edid) == Success &&
        edid) {
        if (format == 8) details.productName = X11Monitors::EdidProductName(edid, count);
        XFree(edid);
    }
    XRRScreenResources* resources = XRRGetScreenResourcesCurrent(display, fConnection->root());
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
