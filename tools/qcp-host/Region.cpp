#include "Region.h"

#include <charconv>

namespace qcphost {

std::string Region::Text() const {
    return std::to_string(left) + "," + std::to_string(top) + "," + std::to_string(right) + "," +
           std::to_string(bottom);
}

std::optional<Region> Region::Parse(std::string_view text) {
    Region region;
    int32_t* const edges[] = {&region.left, &region.top, &region.right, &region.bottom};
    const char* at = text.data();
    const char* const end = text.data() + text.size();
    for (int32_t* edge : edges) {
        if (edge != edges[0] && (at == end || *at++ != ',')) return std::nullopt;
        const auto [stop, problem] = std::from_chars(at, end, *edge);
        if (problem != std::errc()) return std::nullopt;
        at = stop;
    }
    if (at != end) return std::nullopt;
    return region;
}

} // namespace qcphost
