#pragma once
#include <X11/Xlib.h>

#include <memory>

#include "WindowServer.h"
#include "X11Atoms.h"
#include "X11Connection.h"
#include "X11Monitors.h"
#include "X11WindowImage.h"

namespace qcp::platform::x11 {

// The window list from the window manager (EWMH): the clients in
// _NET_CLIENT_LIST_STACKING, front to back. A window's number is its client
// window id; its title is _NET_WM_NAME, else WM_NAME; its owner is
// _NET_WM_PID, named by /proc/PID/comm, else by its WM_CLASS class; its
// bounds are the client with the window manager's decorations
// (_NET_FRAME_EXTENTS), relative to the main monitor's top-left corner; it
// is on screen when viewable, on the current desktop, not hidden and not
// minimised. Without a window manager, the root's children stand in for the
// clients.
//
// Every call reads the server afresh (a round trip or so per property), on a
// connection of its own guarded by its mutex; any thread.
class X11WindowServer final : public WindowServer {
public:
    explicit X11WindowServer(std::unique_ptr<X11Connection> connection);

    std::vector<WindowInfo> windowList(bool onScreenOnly) const override;
    std::optional<WindowInfo> window(uint32_t number) const override;
    ImageRef windowImage(uint32_t number) const override;
    int32_t ownPID() const override;

    // A process's name as the kernel keeps it (/proc/PID/comm); none when
    // there is no such process.
    static std::optional<std::string> ProcessName(int32_t pid);

private:
    // Where a client and its decorations are, in root pixels.
    struct Frame {
        int x = 0, y = 0, width = 0, height = 0;
        bool viewable = false;
    };

    // The caller holds the connection's mutex and a trap.
    std::vector<Window> ClientsFrontToBack() const;
    bool IsClient(Window window) const;
    std::optional<Frame> ReadFrame(Window client) const;
    std::optional<WindowInfo> Describe(Window client, const X11Monitor& main, long currentDesktop) const;
    bool OnCurrentDesktop(Window client, long currentDesktop) const;
    bool HiddenOrMinimised(Window client) const;
    long CurrentDesktop() const;
    X11Monitor MainMonitor() const;

    std::unique_ptr<X11Connection> fConnection;
    const X11Atoms fAtoms;
    mutable X11WindowImage fImages;
};

} // namespace qcp::platform::x11
