#include "RegionSelectorGeometry.h"

#include <algorithm>
#include <initializer_list>

namespace RegionSelectorGeometry {
namespace {

constexpr double kRedrawMargin = 16;
constexpr double kInfoBoxWidth = 330;
constexpr double kInfoBoxHeight = 60;
constexpr double kInfoBoxGap = 20;

bool Is(int handle, std::initializer_list<int> handles) {
    return std::find(handles.begin(), handles.end(), handle) != handles.end();
}

Rect Grown(const Rect& r, double by) { return {r.x - by, r.y - by, r.width + 2 * by, r.height + 2 * by}; }

Rect Union(const Rect& a, const Rect& b) {
    const double x = std::min(a.x, b.x);
    const double y = std::min(a.y, b.y);
    return {x, y, std::max(a.MaxX(), b.MaxX()) - x, std::max(a.MaxY(), b.MaxY()) - y};
}

} // namespace

Rect RectForCorner(const Rect& selection, int corner) { return qcp::platform::OverlayHandleRect(selection, corner); }

int EdgeForPoint(const Rect& selection, Point point) {
    for (int corner = 1; corner <= 8; ++corner)
        if (RectForCorner(selection, corner).Contains(point)) return corner;
    return 0;
}

OverlayCursor CursorForPoint(const Rect& selection, Point point) {
    // Wherever two handles overlap, a side's middle handle overlaps them too
    // and wins in any order, so the hit order of EdgeForPoint serves.
    const int corner = EdgeForPoint(selection, point);
    if (corner == 0) return selection.Contains(point) ? OverlayCursor::OpenHand : OverlayCursor::Arrow;
    if (corner <= 2) return OverlayCursor::ResizeLeftRight;
    if (corner <= 4) return OverlayCursor::ResizeUpDown;
    return Is(corner, {5, 8}) ? OverlayCursor::ResizeDiagonalLR : OverlayCursor::ResizeDiagonalRL;
}

Rect Dragged(const Rect& start, int handle, float dx, float dy, const Rect& bounds) {
    Rect r = start;
    if (handle == 0) {
        r.x += dx;
        r.y += dy;
    }
    if (Is(handle, {1, 5, 7})) {
        r.x += dx;
        r.width -= dx;
    }
    if (Is(handle, {2, 6, 8})) r.width += dx;
    if (Is(handle, {3, 5, 6})) r.height += dy;
    if (Is(handle, {4, 7, 8})) {
        r.y += dy;
        r.height -= dy;
    }
    r.width = std::max(r.width, kMinimumSide);
    r.height = std::max(r.height, kMinimumSide);
    // Moved, not shrunk: a drag against an edge keeps the size it has.
    if (r.x < bounds.x) r.x = bounds.x;
    if (r.y < bounds.y) r.y = bounds.y;
    if (r.MaxX() > bounds.MaxX()) r.x = bounds.MaxX() - r.width;
    if (r.MaxY() > bounds.MaxY()) r.y = bounds.MaxY() - r.height;
    return r;
}

Rect InfoBoxFor(const Rect& selection) {
    return {selection.x + selection.width / 2 - kInfoBoxWidth / 2, selection.MaxY() + kInfoBoxGap, kInfoBoxWidth,
            kInfoBoxHeight};
}

Rect SelectionRedrawArea(const Rect& from, const Rect& to) {
    return Union(Grown(from, kRedrawMargin), Grown(to, kRedrawMargin));
}

} // namespace RegionSelectorGeometry
