#pragma once
#include "Geometry.h"
#include "Image.h"

namespace qcp::platform {

struct CursorImage {
    ImageRef image; // pixels; null when no cursor is shown
    double width = 0;  // size in points
    double height = 0;
    Point hotSpot;     // in points from the image's top-left
};

// The mouse. Called from any thread.
class Cursor {
public:
    virtual ~Cursor() = default;
    // Global, in points, origin at the main screen's bottom-left, y up.
    virtual Point mouseLocation() const = 0;
    virtual CursorImage currentCursor() const = 0;
};

} // namespace qcp::platform
