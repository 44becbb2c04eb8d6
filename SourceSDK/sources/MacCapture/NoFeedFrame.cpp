// The no-feed picture: 1280 x 720 of one colour with an optional line of
// text centred in it, drawn with cairo.
#include <cairo.h>

#include "MacCaptureSource.h"
#include "Platform.h"

namespace MC {

using namespace qcp::platform;

namespace {
constexpr const char* kFontFamily = "Helvetica";
constexpr double kFontSize = 30;

// Premultiplied components for cairo.
void SetColour(cairo_t* cairo, const zColor& colour) {
    cairo_set_source_rgba(cairo, colour.r / 255.0, colour.g / 255.0, colour.b / 255.0, colour.a / 255.0);
}

// Draws straight into the surface's memory: cairo's ARGB32 is premultiplied
// native-endian, the surface's B G R A here.
void DrawPicture(Surface& surface, const zColor& background, const zColor& text, const char* message) {
    const int width = int(surface.width()), height = int(surface.height());
    const bool blank = !message || !*message;
    // A new surface is zeroed: a transparent picture without text is done.
    if (blank && background.a == 0 && background.r == 0 && background.g == 0 && background.b == 0) return;
    SurfaceLock lock(surface);
    cairo_surface_t* canvas = cairo_image_surface_create_for_data(surface.baseAddress(), CAIRO_FORMAT_ARGB32, width,
                                                                  height, int(surface.bytesPerRow()));
    cairo_t* cairo = cairo_create(canvas);
    cairo_set_operator(cairo, CAIRO_OPERATOR_SOURCE);
    SetColour(cairo, background);
    cairo_rectangle(cairo, 0, 0, width, height);
    cairo_fill(cairo);
    if (!blank) {
        cairo_set_operator(cairo, CAIRO_OPERATOR_OVER);
        cairo_select_font_face(cairo, kFontFamily, CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
        cairo_set_font_size(cairo, kFontSize);
        cairo_text_extents_t extents;
        cairo_text_extents(cairo, message, &extents);
        const int x = int((width - extents.width) * 0.5);
        const int y = int((height - extents.height) * 0.5);
        SetColour(cairo, text);
        cairo_move_to(cairo, x - extents.x_bearing, y - extents.y_bearing);
        cairo_show_text(cairo, message);
    }
    cairo_destroy(cairo);
    cairo_surface_flush(canvas);
    cairo_surface_destroy(canvas);
}
} // namespace

void MacCaptureSource::SetNoFeedFrameType(const zColor& background, const zColor& text, const char* message) {
    std::lock_guard lock(fObserverLock);
    fNoFeedSurface.reset();
    // Always a new surface: a host may still hold the old one.
    SurfaceRef surface = SurfaceRef::Adopt(
        Current()->createSurface(SurfaceProperties::Packed(kNoFeedWidth, kNoFeedHeight, kPixelFormat32ARGB)));
    if (surface) DrawPicture(*surface, background, text, message);
    fNoFeedSurface = std::move(surface);
}

} // namespace MC
