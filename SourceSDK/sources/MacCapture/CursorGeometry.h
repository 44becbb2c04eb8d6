#pragma once
#include "Geometry.h"
#include "zRect.h"

// Where the mouse cursor lands in a captured frame. Both return the cursor's
// rectangle with the origin at the frame's bottom-left corner and y up, as
// the platform's drawing contexts (bitmap contexts and the OpenGL projection
// of the compositor) take it. The compositors of every platform call these.
namespace MC::CursorGeometry {

using qcp::platform::Point;
using qcp::platform::Rect;

struct CursorMetrics {
    double width = 0;  // points
    double height = 0; // points
    Point hotSpot;     // points
};

// Display and region capture. `screenFrame` and `mainFrame` are global
// (bottom-left origin, y up); `captureFrame` is in the display's points with
// its origin at the display's top-left. The vertical position is measured
// from the main screen's height and lowered by half the cursor's height, and
// points are not scaled to pixels.
Rect ForDisplay(const Rect& screenFrame, const Rect& mainFrame, const zRect& captureFrame, Point mouse,
                const CursorMetrics& cursor);

// Window capture. `windowBounds` is global (top-left origin, y down) in
// points; `scale` is the window image's pixels per point. The result is in
// the window image's pixels.
Rect ForWindow(const Rect& windowBounds, const Rect& mainFrame, double scale, Point mouse,
               const CursorMetrics& cursor);

// The same rectangle measured from the top-left of a frame `frameHeight`
// pixels high, y down.
inline Rect FlipToTopLeft(const Rect& rect, double frameHeight) {
    return {rect.x, frameHeight - rect.y - rect.height, rect.width, rect.height};
}

} // namespace MC::CursorGeometry
