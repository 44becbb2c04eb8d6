#pragma once
#include <X11/Xlib.h>

#include <optional>
#include <unordered_map>
#include <vector>

#include "X11Atoms.h"
#include "X11Connection.h"

namespace qcp::platform::x11 {

// Where a client is and what holds it.
struct X11WindowPlace {
    // The client with the window manager's decorations (_NET_FRAME_EXTENTS),
    // in root pixels, and whether the client is viewable.
    int x = 0, y = 0, width = 0, height = 0;
    bool viewable = false;
    // The root's child that holds the client (the client itself without a
    // reparenting window manager): its outer area, border included, in root
    // pixels, and what its pixels are.
    Window frame = None;
    int frameX = 0, frameY = 0, frameWidth = 0, frameHeight = 0;
    bool frameViewable = false;
    int depth = 0;
    Visual* visual = nullptr;
};

// What the window server would otherwise ask the X server at every frame of
// a captured window, kept from events instead: the list of clients (while a
// window manager keeps it on the root) and where each client asked about is.
// A place is read once, after the client and its frame have been told to
// report their changes, and forgotten when one of them reports a change
// (moved, resized, mapped, unmapped, reparented, destroyed, decorations
// changed). Without a window manager's list the clients are read at every
// use. A window frame after frame thus costs no round trip until it changes.
//
// Used on the window server's connection, under its mutex and a trap.
class X11WindowWatch {
public:
    // What the watch selects on the root, clients and their frames; whoever
    // else selects on those windows on this connection selects the same.
    static constexpr long kWindowEvents = StructureNotifyMask | PropertyChangeMask;

    X11WindowWatch(const X11Connection& connection, const X11Atoms& atoms);

    // The clients, front to back.
    const std::vector<Window>& Clients();
    bool IsClient(Window window);
    // Where `client` is; none when it is gone.
    std::optional<X11WindowPlace> Place(Window client);

    // Forgets what the event says may have changed.
    void OnEvent(const XEvent& event);

private:
    void ReadClients();
    std::optional<X11WindowPlace> ReadPlace(Window client) const;
    Window FrameOf(Window client) const;

    Display* const fDisplay;
    const Window fRoot;
    const X11Atoms& fAtoms;
    std::vector<Window> fClients;
    bool fClientsKnown = false; // read from a list that events tell changes of
    std::unordered_map<Window, X11WindowPlace> fPlaces;
};

} // namespace qcp::platform::x11
