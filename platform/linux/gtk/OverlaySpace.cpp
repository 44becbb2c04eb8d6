#include "OverlaySpace.h"

#include <cmath>

namespace qcp::platform::gtk {

OverlaySpace::OverlaySpace(const Rect& frame, double backingScale, const x11::X11Monitor& main, int gdkScale)
    : fViewWidth(frame.width), fViewHeight(frame.height) {
    const double scale = backingScale > 0 ? backingScale : 1;
    const double units = gdkScale > 0 ? gdkScale : 1;
    fPointsPerUnit = units / scale;
    const double left = main.x + frame.x * scale;
    const double top = main.y + main.height - frame.MaxY() * scale;
    fWindow = {int(std::lround(left / units)), int(std::lround(top / units)),
               int(std::lround(frame.width * scale / units)), int(std::lround(frame.height * scale / units))};
}

Point OverlaySpace::ViewFromWindow(double x, double y) const {
    return {x * fPointsPerUnit, fViewHeight - y * fPointsPerUnit};
}

OverlaySpace::Area OverlaySpace::WindowFromView(const Rect& rect) const {
    if (rect.width <= 0 || rect.height <= 0) return {};
    const Rect flipped = TopDown(rect);
    const int left = int(std::floor(flipped.x / fPointsPerUnit));
    const int top = int(std::floor(flipped.y / fPointsPerUnit));
    const int right = int(std::ceil(flipped.MaxX() / fPointsPerUnit));
    const int bottom = int(std::ceil(flipped.MaxY() / fPointsPerUnit));
    return {left, top, right - left, bottom - top};
}

} // namespace qcp::platform::gtk
