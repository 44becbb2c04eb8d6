#include "RegionCoordinates.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace OBRN {
namespace {

int IntegerPart(double value) {
    if (std::isnan(value)) return 0;
    constexpr double kLowest = std::numeric_limits<int>::min();
    constexpr double kHighest = std::numeric_limits<int>::max();
    return int(std::trunc(std::clamp(value, kLowest, kHighest)));
}

} // namespace

qcp::platform::Rect DisplayToScreen(const DisplayRegion& region, const qcp::platform::Rect& screenFrame) {
    // Sums in double: two ints cannot overflow there.
    const double bottom = screenFrame.height - (double(region.y) + region.height);
    return {std::trunc(region.x + screenFrame.x), std::trunc(bottom), double(region.width), double(region.height)};
}

DisplayRegion ScreenToDisplay(const qcp::platform::Rect& rect, const qcp::platform::Rect& screenFrame) {
    return {IntegerPart(rect.x - screenFrame.x), IntegerPart(screenFrame.height - (rect.y + rect.height)),
            IntegerPart(rect.width), IntegerPart(rect.height)};
}

} // namespace OBRN
