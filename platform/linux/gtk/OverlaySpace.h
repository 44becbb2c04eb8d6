#pragma once
#include "Geometry.h"
#include "X11Monitors.h"

namespace qcp::platform::gtk {

// Where the overlay's window sits on the root window, and how its GTK
// coordinates (origin top-left, y down, in GTK units) map to the view's
// (points from the screen's bottom-left, y up).
//
// Global points are root pixels divided by the screen's backing scale,
// counted from the main monitor's bottom-left corner: the inverse of how the
// X11 screen list makes a frame. GTK units are root pixels divided by GDK's
// window scale.
class OverlaySpace {
public:
    // A whole-unit rectangle, top-down.
    struct Area {
        int x = 0, y = 0, width = 0, height = 0;
        friend bool operator==(const Area&, const Area&) = default;
    };

    OverlaySpace() = default;
    // `main` in root pixels; `gdkScale` root pixels per GTK unit.
    OverlaySpace(const Rect& frame, double backingScale, const x11::X11Monitor& main, int gdkScale);

    // The window on the root window, in GTK units.
    const Area& window() const { return fWindow; }
    // The view's size in points.
    double viewWidth() const { return fViewWidth; }
    double viewHeight() const { return fViewHeight; }
    // Points per GTK unit.
    double pointsPerUnit() const { return fPointsPerUnit; }

    Point ViewFromWindow(double x, double y) const;
    // The whole units covering `rect`; empty when it is.
    Area WindowFromView(const Rect& rect) const;
    // `rect` in points, flipped to top-down (origin at the view's top-left).
    Rect TopDown(const Rect& rect) const { return {rect.x, fViewHeight - rect.MaxY(), rect.width, rect.height}; }

private:
    Area fWindow;
    double fViewWidth = 0;
    double fViewHeight = 0;
    double fPointsPerUnit = 1;
};

} // namespace qcp::platform::gtk
