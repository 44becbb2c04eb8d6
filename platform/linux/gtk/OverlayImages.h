#pragma once
#include <gdk/gdk.h>

#include <string>

#include "GObjectPointers.h"

namespace qcp::platform::gtk {

// The handle images "knob" and "knobDown", loaded once per overlay from the
// plug-in's resource folder (`<folder>/<name>.svg`) at the screen's pixel
// density, as surfaces ready to draw in `window`. An image that cannot be
// loaded is null, and the painter draws a plain square in its place. Made on
// GTK's thread, with a display.
class OverlayImages {
public:
    OverlayImages(const std::string& folder, double pixelsPerPoint, GdkWindow* window);

    // Null when missing.
    cairo_surface_t* knob(bool down) const { return (down ? fKnobDown : fKnob).get(); }

    // `<folder>/<name>.svg`, scaled to `size` pixels square, or at its own
    // size when `size` is 0; null when it cannot be read or decoded.
    static GObjectPtr<GdkPixbuf> Load(const std::string& folder, const char* name, int size);

private:
    CairoSurfacePtr fKnob;
    CairoSurfacePtr fKnobDown;
};

} // namespace qcp::platform::gtk
