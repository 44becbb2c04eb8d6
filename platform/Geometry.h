#pragma once

namespace qcp::platform {

// A point and a rectangle in points, as doubles, the way the macOS calls pass
// them (NSPoint, CGRect). Which coordinate space a value is in is stated by
// each seam that uses it; these types do not convert.
struct Point {
    double x = 0;
    double y = 0;
    friend bool operator==(const Point&, const Point&) = default;
};

struct Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    friend bool operator==(const Rect&, const Rect&) = default;

    double MaxX() const { return x + width; }
    double MaxY() const { return y + height; }
    // Half-open on the far edges, as NSMouseInRect is for an unflipped view.
    bool Contains(Point p) const { return p.x >= x && p.x < MaxX() && p.y >= y && p.y < MaxY(); }
    // True when both are non-empty and share some area (CGRectIntersectsRect).
    bool Intersects(const Rect& o) const {
        return width > 0 && height > 0 && o.width > 0 && o.height > 0 && x < o.MaxX() && o.x < MaxX() &&
               y < o.MaxY() && o.y < MaxY();
    }
    // The overlap of two rectangles; all zero when they do not meet.
    Rect Intersection(const Rect& o) const;
};

inline Rect Rect::Intersection(const Rect& o) const {
    if (!Intersects(o)) return {};
    const double left = x > o.x ? x : o.x;
    const double top = y > o.y ? y : o.y;
    const double right = MaxX() < o.MaxX() ? MaxX() : o.MaxX();
    const double bottom = MaxY() < o.MaxY() ? MaxY() : o.MaxY();
    return {left, top, right - left, bottom - top};
}

} // namespace qcp::platform
