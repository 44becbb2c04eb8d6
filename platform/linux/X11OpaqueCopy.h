#pragma once
#include <X11/Xlib.h>
#include <X11/extensions/Xrender.h>

#include <memory>
#include <optional>

#include "X11Connection.h"

namespace qcp::platform::x11 {

// A part of a drawable (the root window with what it shows, or a window's
// pixmap) copied by the X server into a 32-bit pixmap whose alpha the server
// makes opaque (RENDER: a source without alpha counts as opaque), so frames
// read from the pixmap need no pass on the client to set the byte a depth-24
// drawable leaves undefined. The server does one more copy of the part; the
// client touches no pixel.
//
// Lives on the thread that owns the connection, and goes before it closes.
class X11OpaqueCopy {
public:
    // The format of the images that read the pixmap; none without RENDER or
    // a 32-bit true-colour visual.
    struct Format {
        Visual* visual = nullptr;
        unsigned depth = 0;
    };
    static std::optional<Format> ImageFormat(Display* display);

    // A pixmap of `width` x `height` for parts of `source`, a drawable of
    // `visual`; null when the server has no RENDER or refuses.
    static std::unique_ptr<X11OpaqueCopy> Create(const X11Connection& connection, Drawable source, Visual* visual,
                                                 int width, int height);
    ~X11OpaqueCopy();
    X11OpaqueCopy(const X11OpaqueCopy&) = delete;
    X11OpaqueCopy& operator=(const X11OpaqueCopy&) = delete;

    // Asks the server to copy the source's part at (x, y) into the pixmap. A
    // read of the pixmap made after this sees the copy (requests are handled
    // in order); a failed copy leaves the pixmap as it was, and its error is
    // dropped with the plug-in's other untrapped ones.
    void Copy(int x, int y);
    Pixmap pixmap() const { return fPixmap; }
    int width() const { return fWidth; }
    int height() const { return fHeight; }

private:
    X11OpaqueCopy(const X11Connection& connection, int width, int height)
        : fConnection(connection), fDisplay(connection.display()), fWidth(width), fHeight(height) {}

    const X11Connection& fConnection;
    Display* const fDisplay;
    const int fWidth, fHeight;
    Pixmap fPixmap = None;
    Picture fSource = None;
    Picture fTarget = None;
};

} // namespace qcp::platform::x11
