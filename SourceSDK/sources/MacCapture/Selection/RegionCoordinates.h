#pragma once
#include "Geometry.h"

namespace OBRN {

// A capture region as the plug-in keeps it: relative to the display's
// top-left corner, y down, in whole points.
struct DisplayRegion {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    friend bool operator==(const DisplayRegion&, const DisplayRegion&) = default;
};

// The region as the overlay's selection on the screen with `screenFrame`:
// the frame's x added, y flipped against the frame's height. The frame's y is
// left out both ways, as the overlay takes y as it comes, so a region comes
// back exactly as it went out. Fractions are cut off.
qcp::platform::Rect DisplayToScreen(const DisplayRegion& region, const qcp::platform::Rect& screenFrame);
// The reverse; values beyond an int's range are held at its ends.
DisplayRegion ScreenToDisplay(const qcp::platform::Rect& rect, const qcp::platform::Rect& screenFrame);

} // namespace OBRN
