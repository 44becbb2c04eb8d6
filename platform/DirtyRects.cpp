#include "DirtyRects.h"

#include <algorithm>

namespace qcp::platform {
namespace {

bool Covers(const Rect& outer, const Rect& inner) {
    return outer.x <= inner.x && outer.y <= inner.y && inner.MaxX() <= outer.MaxX() && inner.MaxY() <= outer.MaxY();
}

Rect Union(const Rect& a, const Rect& b) {
    const double left = std::min(a.x, b.x), top = std::min(a.y, b.y);
    return {left, top, std::max(a.MaxX(), b.MaxX()) - left, std::max(a.MaxY(), b.MaxY()) - top};
}

double Area(const Rect& r) { return r.width * r.height; }

} // namespace

DirtyRects DirtyRects::Whole(double width, double height) {
    DirtyRects whole;
    whole.Add({0, 0, width, height});
    return whole;
}

void DirtyRects::Add(const Rect& rect) {
    if (rect.width <= 0 || rect.height <= 0) return;
    Rect* const first = fRects.data();
    Rect* last = first + fCount;
    if (std::any_of(first, last, [&](const Rect& held) { return Covers(held, rect); })) return;
    last = std::remove_if(first, last, [&](const Rect& held) { return Covers(rect, held); });
    fCount = size_t(last - first);
    if (fCount < kCapacity) {
        fRects[fCount++] = rect;
        return;
    }
    Rect* cheapest = std::min_element(first, last, [&](const Rect& a, const Rect& b) {
        return Area(Union(a, rect)) - Area(a) < Area(Union(b, rect)) - Area(b);
    });
    *cheapest = Union(*cheapest, rect);
}

void DirtyRects::Add(const DirtyRects& other) {
    for (const Rect& rect : other) Add(rect);
}

} // namespace qcp::platform
