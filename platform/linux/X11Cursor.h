#pragma once
#include <memory>
#include <mutex>
#include <vector>

#include "Cursor.h"
#include "X11Connection.h"
#include "X11Monitors.h"
#include "X11Server.h"

namespace qcp::platform::x11 {

// The pointer and the cursor's picture (XFixes), on a connection of its own
// guarded by the mutex; any thread. Without a reachable server the mouse is
// at (0, 0) and no cursor is shown; the cursor does not try a lost server
// again itself (it is asked sixty times a second), but follows once screens
// or windows have reached it (see X11Server).
//
// The picture is fetched again only when XFixes reports a new cursor serial;
// until then the same CursorImage, picture included, is handed out. The
// mouse location is converted to the macOS convention against the main
// monitor as RandR has it at that moment (monitors set by clients change
// without any notice), asked for with the pointer in one round trip.
class X11Cursor final : public Cursor {
public:
    explicit X11Cursor(X11Server& server) : fServer(server) {}

    Point mouseLocation() const override;
    CursorImage currentCursor() const override;

    // XFixes' cursor pixels (premultiplied ARGB, one per unsigned long) as an
    // Image; null for an empty cursor.
    static ImageRef ConvertPixels(const unsigned long* pixels, uint32_t width, uint32_t height);

private:
    // What belongs to one connection.
    struct Link {
        explicit Link(std::unique_ptr<X11Connection> connection);
        // Takes the events received: a new cursor serial. The caller holds
        // fMutex and a trap.
        void ReadEvents();

        const std::unique_ptr<X11Connection> connection;
        int fixesEventBase = -1; // -1 without XFixes
        bool cursorChanged = true;
        unsigned long serial = 0; // of the picture in cursor
        CursorImage cursor;
        std::vector<X11Monitor> monitors; // reused by each mouse location
    };
    // The current link, remade when stale; null without a server.
    Link* Connected() const;

    X11Server& fServer;
    mutable std::mutex fMutex;
    mutable std::unique_ptr<Link> fLink;
};

} // namespace qcp::platform::x11
