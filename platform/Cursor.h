#pragma once
#include "Geometry.h"
#include "Image.h"

namespace qcp::platform {

// The system cursor as it is shown now (NSCursor currentSystemCursor).
struct CursorImage {
    // Its picture in pixels (premultiplied BGRA); null when no cursor is shown
    // or the system cannot tell, and the core then draws none.
    ImageRef image;
    // Its size in points (NSImage size); the picture may have more pixels
    // than points on high-density displays.
    double width = 0;
    double height = 0;
    // The hot spot in points from the picture's top-left corner, y down.
    Point hotSpot;
};

// The mouse.
//
// Called from any thread (the render queue, display-link threads), with the
// core's render or inventory lock possibly held; the implementation takes no
// lock of the core's. Both answers reflect the moment of the call.
class Cursor {
public:
    virtual ~Cursor() = default;
    // NSEvent mouseLocation: global, in points, origin at the main screen's
    // bottom-left corner, y up. (0, 0) when the system cannot tell.
    virtual Point mouseLocation() const = 0;
    virtual CursorImage currentCursor() const = 0;
};

} // namespace qcp::platform
