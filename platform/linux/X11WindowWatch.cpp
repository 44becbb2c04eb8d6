#include "X11WindowWatch.h"

#include <X11/Xatom.h>

#include <algorithm>

#include "X11Properties.h"

namespace qcp::platform::x11 {

X11WindowWatch::X11WindowWatch(const X11Connection& connection, const X11Atoms& atoms)
    : fDisplay(connection.display()), fRoot(connection.root()), fAtoms(atoms) {
    // The window manager's lists are properties of the root.
    XSelectInput(fDisplay, fRoot, kWindowEvents);
}

const std::vector<Window>& X11WindowWatch::Clients() {
    if (!fClientsKnown) ReadClients();
    return fClients;
}

bool X11WindowWatch::IsClient(Window window) {
    if (window == None) return false;
    const std::vector<Window>& clients = Clients();
    return std::find(clients.begin(), clients.end(), window) != clients.end();
}

void X11WindowWatch::ReadClients() {
    fClients.clear();
    std::optional<std::vector<unsigned long>> clients =
        X11Properties::ReadLongs(fDisplay, fRoot, fAtoms.netClientListStacking, XA_WINDOW);
    // Without the stacking list, the managing order is the best guess.
    if (!clients) clients = X11Properties::ReadLongs(fDisplay, fRoot, fAtoms.netClientList, XA_WINDOW);
    fClientsKnown = clients.has_value();
    if (clients) {
        fClients.assign(clients->rbegin(), clients->rend());
        return;
    }
    // No window manager: the root's own children, bottom to top, that a user
    // could see (not the override-redirect menus and tooltips).
    Window rootReturn = None, parent = None;
    Window* children = nullptr;
    unsigned count = 0;
    if (!XQueryTree(fDisplay, fRoot, &rootReturn, &parent, &children, &count)) return;
    for (unsigned i = count; i-- > 0;) {
        XWindowAttributes attributes{};
        if (XGetWindowAttributes(fDisplay, children[i], &attributes) && attributes.c_class == InputOutput &&
            !attributes.override_redirect)
            fClients.push_back(children[i]);
    }
    if (children) XFree(children);
}

std::optional<X11WindowPlace> X11WindowWatch::Place(Window client) {
    if (const auto known = fPlaces.find(client); known != fPlaces.end()) return known->second;
    std::optional<X11WindowPlace> place = ReadPlace(client);
    if (place) fPlaces.emplace(client, *place);
    return place;
}

std::optional<X11WindowPlace> X11WindowWatch::ReadPlace(Window client) const {
    // Told to report first, so that a change made while it is read is heard.
    XSelectInput(fDisplay, client, kWindowEvents);
    const Window frame = FrameOf(client);
    if (frame == None) return std::nullopt;
    if (frame != client) XSelectInput(fDisplay, frame, kWindowEvents);
    XWindowAttributes attributes{}, frameAttributes{};
    int x = 0, y = 0;
    Window child = None;
    if (!XGetWindowAttributes(fDisplay, client, &attributes) ||
        !XTranslateCoordinates(fDisplay, client, fRoot, 0, 0, &x, &y, &child) ||
        !XGetWindowAttributes(fDisplay, frame, &frameAttributes))
        return std::nullopt;
    // left, right, top, bottom
    const std::vector<unsigned long> extents =
        X11Properties::ReadLongs(fDisplay, client, fAtoms.netFrameExtents, XA_CARDINAL)
            .value_or(std::vector<unsigned long>{});
    const auto extent = [&](size_t i) { return extents.size() == 4 ? int(extents[i]) : 0; };
    X11WindowPlace place;
    place.x = x - extent(0);
    place.y = y - extent(2);
    place.width = attributes.width + extent(0) + extent(1);
    place.height = attributes.height + extent(2) + extent(3);
    place.viewable = attributes.map_state == IsViewable;
    place.frame = frame;
    place.frameX = frameAttributes.x;
    place.frameY = frameAttributes.y;
    place.frameWidth = frameAttributes.width + 2 * frameAttributes.border_width;
    place.frameHeight = frameAttributes.height + 2 * frameAttributes.border_width;
    place.frameViewable = frameAttributes.map_state == IsViewable;
    place.depth = frameAttributes.depth;
    place.visual = frameAttributes.visual;
    return place;
}

Window X11WindowWatch::FrameOf(Window client) const {
    Window window = client;
    for (;;) {
        Window root = None, parent = None;
        Window* children = nullptr;
        unsigned count = 0;
        if (!XQueryTree(fDisplay, window, &root, &parent, &children, &count)) return None;
        if (children) XFree(children);
        if (parent == None) return None; // the root itself
        if (parent == root) return window;
        window = parent;
    }
}

void X11WindowWatch::OnEvent(const XEvent& event) {
    Window changed = None;
    switch (event.type) {
    case PropertyNotify:
        if (event.xproperty.window == fRoot) {
            if (event.xproperty.atom == fAtoms.netClientListStacking || event.xproperty.atom == fAtoms.netClientList)
                fClientsKnown = false;
            return;
        }
        if (event.xproperty.atom != fAtoms.netFrameExtents) return;
        changed = event.xproperty.window;
        break;
    case ConfigureNotify: changed = event.xconfigure.window; break;
    case MapNotify: changed = event.xmap.window; break;
    case UnmapNotify: changed = event.xunmap.window; break;
    case ReparentNotify: changed = event.xreparent.window; break;
    case DestroyNotify: changed = event.xdestroywindow.window; break;
    case GravityNotify: changed = event.xgravity.window; break;
    default: return;
    }
    std::erase_if(fPlaces, [changed](const auto& entry) {
        return entry.first == changed || entry.second.frame == changed;
    });
}

} // namespace qcp::platform::x11
