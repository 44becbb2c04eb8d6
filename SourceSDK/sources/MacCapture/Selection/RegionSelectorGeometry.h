#pragma once
#include "SelectionUI.h"

// The region selector's handles and how dragging reshapes its selection, in
// the overlay view's coordinates (origin bottom-left, y up).
//
// Handles: 1 left middle, 2 right middle, 3 top middle, 4 bottom middle,
// 5 top-left, 6 top-right, 7 bottom-left, 8 bottom-right; 0 is none.
namespace RegionSelectorGeometry {

using qcp::platform::OverlayCursor;
using qcp::platform::Point;
using qcp::platform::Rect;

// No drag makes the selection narrower or lower than this.
constexpr double kMinimumSide = 24;

// The 14 x 14 hit and drawing rectangle centred on handle `corner`; for an
// index outside 1-8 the one centred on (0, 0).
Rect RectForCorner(const Rect& selection, int corner);
// The first handle, in index order, whose rectangle holds `point`; else 0.
int EdgeForPoint(const Rect& selection, Point point);
// The pointer's look at `point`: the resize arrows of the handle under it,
// else an open hand inside the selection, else the arrow.
OverlayCursor CursorForPoint(const Rect& selection, Point point);
// `start` with `handle` dragged by (dx, dy), or moved when `handle` is 0; at
// least kMinimumSide on each side and moved back inside `bounds`.
Rect Dragged(const Rect& start, int handle, float dx, float dy, const Rect& bounds);
// The information box: 330 x 60, centred over the selection, 20 above it.
Rect InfoBoxFor(const Rect& selection);
// What to redraw when the selection changes: both rectangles with their
// handles' reach, 16 on every side.
Rect SelectionRedrawArea(const Rect& from, const Rect& to);

} // namespace RegionSelectorGeometry
