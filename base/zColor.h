#pragma once
#include <cstdint>

// 8-bit RGBA colour, not premultiplied.
struct zColor {
    uint8_t r = 0;
    uint8_t g = 0;
    uint8_t b = 0;
    uint8_t a = 255;

    friend constexpr bool operator==(const zColor&, const zColor&) = default;
};
