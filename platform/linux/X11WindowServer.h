#pragma once
#include <X11/Xlib.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

#include "WindowServer.h"
#include "X11Atoms.h"
#include "X11Connection.h"
#include "X11ErrorTrap.h"
#include "X11Monitors.h"
#include "X11Server.h"
#include "X11WindowImage.h"
#include "X11WindowWatch.h"

namespace qcp::platform::x11 {

// The window list from the window manager (EWMH): the clients in
// _NET_CLIENT_LIST_STACKING, front to back. A window's number is its client
// window id; its title is _NET_WM_NAME, else WM_NAME; its owner is
// _NET_WM_PID of a client on this machine, named by /proc/PID/comm, else by
// its WM_CLASS class, or for a client without a usable pid (none, or another
// machine's) its client program: a synthetic id per WM_CLASS class and
// WM_CLIENT_MACHINE, named by the class (see X11ClientIdentity); its
// bounds are the client with the window manager's decorations
// (_NET_FRAME_EXTENTS), relative to the main monitor's top-left corner; it
// is on screen when viewable, on the current desktop, not hidden and not
// minimised. Without a window manager, the root's children stand in for the
// clients.
//
// The client list and where windows are come from X11WindowWatch, kept from
// events; the rest is read afresh at every call (a round trip or so per
// property), on a connection of its own guarded by the mutex; any thread.
// Without a reachable server there are no windows and no pictures; asking
// for the list or a window is what tries a lost server again (see X11Server).
class X11WindowServer final : public WindowServer {
public:
    explicit X11WindowServer(X11Server& server) : fServer(server) {}

    std::vector<WindowInfo> windowList(bool onScreenOnly) const override;
    std::optional<WindowInfo> window(uint32_t number) const override;
    std::optional<Rect> windowBounds(uint32_t number) const override;
    ImageRef windowImage(uint32_t number) const override;
    int32_t ownPID() const override;

    // For X11WindowFrames: a new capture's number, its frame of window
    // `number` (WindowFrames::Next), and the end of it.
    uint64_t NewReader() const { return ++fLastReader; }
    WindowFrame ReadFrame(uint32_t number, uint64_t reader, bool withBounds) const;
    void ForgetReader(uint64_t reader) const;
    // Whether frames can be read straight into surfaces on the server now.
    bool ReadsFrames() const;

    // A process's name as the kernel keeps it (/proc/PID/comm); none when
    // there is no such process.
    static std::optional<std::string> ProcessName(int32_t pid);

private:
    // What belongs to one connection.
    struct Link {
        explicit Link(std::unique_ptr<X11Connection> made)
            : connection(std::move(made)), atoms(connection->display()), watch(*connection, atoms),
              images(*connection) {}
        const std::unique_ptr<X11Connection> connection;
        const X11Atoms atoms;
        X11WindowWatch watch;
        X11WindowImage images;
    };
    // The current link, remade when stale; null without a server.
    Link* Connected() const;

    // What `read` makes of the viewable window `number`'s place, under the
    // mutex and a trap, once the events (and `main`, when given: see
    // ReadEvents) are in; an empty Result when there
    // is no such window or the server is lost meanwhile.
    template <class Result, class Read>
    Result ReadWindow(uint32_t number, X11Monitor* main, const Read& read) const {
        std::lock_guard lock(fMutex);
        if (!Connected()) return {};
        X11ErrorTrap trap(fLink->connection->display());
        ReadEvents(main);
        if (!fLink->watch.IsClient(number)) return {};
        const std::optional<X11WindowPlace> place = fLink->watch.Place(number);
        if (!place || !place->viewable) return {};
        Result result = read(*place);
        if (!fLink->connection->usable()) return {};
        return result;
    }

    // The caller holds fMutex and a trap, and has a link.
    // Hands every event the server sent before this call to the watch and
    // the images, and reads the main monitor into `main` when given: one
    // round trip.
    void ReadEvents(X11Monitor* main = nullptr) const;
    std::optional<WindowInfo> Describe(Window client, const X11Monitor& main, long currentDesktop) const;
    bool OnCurrentDesktop(Window client, long currentDesktop) const;
    bool HiddenOrMinimised(Window client) const;
    long CurrentDesktop() const;

    X11Server& fServer;
    mutable std::mutex fMutex;
    mutable std::unique_ptr<Link> fLink;
    mutable std::atomic<uint64_t> fLastReader{0};
};

} // namespace qcp::platform::x11
