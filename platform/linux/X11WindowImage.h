#pragma once
#include <X11/Xlib.h>
#include <X11/extensions/Xdamage.h>

#include <memory>
#include <unordered_map>
#include <vector>

#include "Image.h"
#include "ShmSurfaceMemory.h"
#include "X11Connection.h"
#include "X11ShmImage.h"

namespace qcp::platform::x11 {

// Pictures of single windows. With the Composite extension a window's frame
// (the window manager's decoration window holding the client, a child of the
// root) is redirected, automatically, so the server keeps its full content in
// a pixmap even where other windows cover it; the picture is read from that
// pixmap. A frame stays redirected for as long as the connection lives, so
// the content of a window captured frame after frame stays complete; the
// server undoes it when the frame is destroyed. With DAMAGE, a redirected
// frame that has not changed since its last picture gives that picture again
// instead of being read anew. Without Composite, or when the server refuses,
// the window's area of the screen is read instead. With MIT-SHM the server
// writes the pixels into a segment kept from read to read, and they are
// copied, made opaque on the way, into a picture from a small pool: one that
// no one holds any more is written again, so a window read at every refresh
// allocates nothing once warm.
//
// Used on the window server's connection, under its mutex and a trap.
class X11WindowImage {
public:
    explicit X11WindowImage(const X11Connection& connection);

    // The client's frame cropped to `bounds` (root pixels: the client and its
    // decorations), or what the screen shows there; null when it cannot be
    // read.
    ImageRef Capture(Window client, int x, int y, int width, int height);

    // Takes the events the connection received: the frames changed and the
    // frames destroyed since. Called on every use of the connection, so that
    // nothing piles up.
    void ReadEvents();

private:
    // The root's child that holds `client` (the client itself without a
    // reparenting window manager); None when the client is gone.
    Window FrameOf(Window client) const;

    // A redirected frame: what was last read of it, and whether it changed
    // since (always, without DAMAGE).
    struct Area {
        int x = 0, y = 0, width = 0, height = 0;
        bool Empty() const { return width <= 0 || height <= 0; }
        Area Intersect(const Area& other) const;
        friend bool operator==(const Area&, const Area&) = default;
    };
    struct Redirected {
        Damage damage = None;
        bool changed = true;
        Area read; // in the frame's pixmap
        ImageRef image;
    };
    Redirected& Redirect(Window frame);
    // An area of a drawable of that visual and depth, over MIT-SHM when it
    // can; null when the server refuses.
    ImageRef Read(Drawable drawable, const Area& area, bool opaque, Visual* visual, int depth);
    // Whether fShared is a segment the server has attached for such an area.
    bool SharedSegment(const Area& area, Visual* visual, int depth);
    // Pixels of the area's size as a picture from the pool.
    ImageRef Picture(const uint8_t* pixels, size_t stride, const Area& area, bool opaque);
    // A picture of that size nobody else holds, from the pool when it has one.
    std::shared_ptr<Image> FreeImage(uint32_t width, uint32_t height, bool opaque);

    // The segment shared reads go to, made again for another size or depth.
    struct SharedRead {
        std::unique_ptr<ShmSurfaceMemory> memory; // outlives the image attached to it
        std::unique_ptr<X11ShmImage> image;
        int width = 0, height = 0, depth = 0;
        Visual* visual = nullptr;
    };

    const X11Connection& fConnection;
    Display* const fDisplay;
    const Window fRoot;
    bool fComposite = false;
    int fDamageEventBase = -1;
    std::unordered_map<Window, Redirected> fRedirected;
    const bool fShm;
    SharedRead fShared;
    std::vector<std::shared_ptr<Image>> fPool;
};

} // namespace qcp::platform::x11
