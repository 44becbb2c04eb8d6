#pragma once
#include <cstdint>

// Integer rectangle with inclusive edges: a one-pixel rectangle has left == right.
// The default rectangle is empty (zero-sized): right and bottom sit one before left and top.
struct zRect {
    int32_t left = 0;
    int32_t top = 0;
    int32_t right = -1;
    int32_t bottom = -1;

    constexpr zRect() = default;
    constexpr zRect(int32_t l, int32_t t, int32_t r, int32_t b) : left(l), top(t), right(r), bottom(b) {}

    static constexpr zRect FromOriginSize(int32_t x, int32_t y, int32_t width, int32_t height) {
        return {x, y, x + width - 1, y + height - 1};
    }

    constexpr int64_t Width() const { return int64_t(right) - left + 1; }
    constexpr int64_t Height() const { return int64_t(bottom) - top + 1; }
    constexpr bool HasArea() const { return Width() > 0 && Height() > 0; }

    friend constexpr bool operator==(const zRect&, const zRect&) = default;
};
