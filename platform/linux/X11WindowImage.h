#pragma once
#include <X11/Xlib.h>

#include <unordered_set>

#include "Image.h"

namespace qcp::platform::x11 {

// Pictures of single windows. With the Composite extension a window's frame
// (the window manager's decoration window holding the client, a child of the
// root) is redirected, automatically, so the server keeps its full content in
// a pixmap even where other windows cover it; the picture is read from that
// pixmap. A frame stays redirected for as long as the connection lives, so
// the content of a window captured frame after frame stays complete; the
// server undoes it when the frame is destroyed. Without Composite, or when
// the server refuses, the window's area of the screen is read instead.
//
// Used on the window server's connection, under its mutex and a trap.
class X11WindowImage {
public:
    explicit X11WindowImage(Display* display);

    // The client's frame cropped to `bounds` (root pixels: the client and its
    // decorations), or what the screen shows there; null when it cannot be
    // read.
    ImageRef Capture(Window client, int x, int y, int width, int height);

    // Takes the events the connection received: the frames destroyed since.
    // Called on every use of the connection, so that nothing piles up.
    void ReadEvents();

    // A 32-bit ZPixmap XImage as an Image; the alpha byte made opaque unless
    // the window has an alpha channel. Null for other formats.
    static ImageRef ToImage(const XImage& image, bool opaque);

private:
    // The root's child that holds `client` (the client itself without a
    // reparenting window manager); None when the client is gone.
    Window FrameOf(Window client) const;
    void Redirect(Window frame);

    Display* const fDisplay;
    const Window fRoot;
    bool fComposite = false;
    std::unordered_set<Window> fRedirected;
};

} // namespace qcp::platform::x11
