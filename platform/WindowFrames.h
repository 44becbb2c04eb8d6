#pragma once
#include <optional>

#include "Geometry.h"
#include "Surface.h"

namespace qcp::platform {

// What WindowFrames::Next gives.
struct WindowFrame {
    // The window's picture (as WindowServer::windowImage reads it, opaque
    // where the window has no alpha channel); null when the window is gone
    // or cannot be read.
    SurfaceRef surface;
    // True: the pixels were read at this call, whatever the caller drew into
    // this surface before is gone. False: the window did not change, and this
    // is the surface of the previous call as the caller left it.
    bool fresh = true;
    // The window's bounds (WindowServer::windowBounds) as read with the
    // frame, when asked for; none where the platform does not learn them
    // with it.
    std::optional<Rect> bounds;
};

// The frames of one window for one capture, read at every refresh of the
// display without a copy of each picture: the platform reads the window
// straight into surfaces that it hands out and the caller may draw into
// (the cursor) before passing them on. A surface it reads into is one that
// nobody but the reader holds, so a frame a host keeps stays as it was sent,
// cursor and all; the previous call's surface, when handed out again
// unchanged, is the caller's to draw into once more.
//
// Made by Platform::createWindowFrames on any thread; Next is called by one
// thread at a time (a source's display-link thread); destroyed on any thread
// once no call runs. Takes no lock of the core's and never calls back.
class WindowFrames {
public:
    virtual ~WindowFrames() = default;
    // `withBounds`: the caller wants the window's bounds too (to draw the
    // cursor), which a platform gives where it learns them with the frame.
    virtual WindowFrame Next(bool withBounds) = 0;
};

} // namespace qcp::platform
