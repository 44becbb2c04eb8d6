#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qcphost {

// A rectangle of a display as the settings record writes it:
// "left,top,right,bottom" in points, edges inclusive, so a one-point region
// has left == right and "0,0,-1,-1" is the empty rectangle.
struct Region {
    int32_t left = 0, top = 0, right = -1, bottom = -1;

    int64_t Width() const { return int64_t(right) - left + 1; }
    int64_t Height() const { return int64_t(bottom) - top + 1; }
    bool HasArea() const { return Width() > 0 && Height() > 0; }
    std::string Text() const;

    // Four 32-bit integers joined by commas, as the plug-in reads them: no
    // spaces, no '+', nothing after. None for any other text.
    static std::optional<Region> Parse(std::string_view text);
};

} // namespace qcphost
