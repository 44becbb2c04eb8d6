#pragma once
#include <array>
#include <cstddef>

#include "Geometry.h"

namespace qcp::platform {

// Where a frame may differ from an earlier one: a few rectangles in the
// frame's pixels, origin at its top-left corner, y down (the dirty
// rectangles of a macOS display stream update). Fixed in size, so that it
// travels with a frame without allocating: a rectangle that finds no free
// place is merged into the one whose area it grows least. The rectangles
// cover every change; they may overlap and cover more.
class DirtyRects {
public:
    static constexpr size_t kCapacity = 8;

    // The whole of a frame of that size.
    static DirtyRects Whole(double width, double height);

    // Adds `rect` (nothing for an empty one).
    void Add(const Rect& rect);
    void Add(const DirtyRects& other);
    void Clear() { fCount = 0; }

    bool empty() const { return fCount == 0; }
    size_t size() const { return fCount; }
    const Rect* begin() const { return fRects.data(); }
    const Rect* end() const { return fRects.data() + fCount; }

private:
    std::array<Rect, kCapacity> fRects{};
    size_t fCount = 0;
};

} // namespace qcp::platform
