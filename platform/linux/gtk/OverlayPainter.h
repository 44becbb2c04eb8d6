#pragma once
#include <cairo.h>

#include "OverlayImages.h"
#include "OverlaySpace.h"
#include "SelectionUI.h"

namespace qcp::platform::gtk {

// Draws the region selector overlay with cairo: the frozen picture of the
// screen, fully shown, and over it, each at the state's alpha: white at 10 %
// inside the selection, black at 70 % outside, a dotted frame, the eight
// handles and the information box. `cr` is in the view's points, top-down.
namespace OverlayPainter {

// `picture` covers the whole view at any pixel size; black stands in when
// there is none.
void Paint(cairo_t* cr, const OverlaySpace& space, const RegionOverlayState& state, cairo_surface_t* picture,
           const OverlayImages& images);

} // namespace OverlayPainter
} // namespace qcp::platform::gtk
