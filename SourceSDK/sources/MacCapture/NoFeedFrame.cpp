// The no-feed picture: 1280 x 720 of one colour with an optional line of
// text centred in it, drawn with cairo.
#include <cairo.h>

#include <vector>

#include "MacCaptureDisplayUtils.h"
#include "MacCaptureSource.h"

namespace MC {

using namespace qcp::platform;

namespace {
constexpr const char* kFontFamily = "Helvetica";
constexpr double kFontSize = 30;

// Premultiplied components for cairo.
void SetColour(cairo_t* cairo, const zColor& colour) {
    cairo_set_source_rgba(cairo, colour.r / 255.0, colour.g / 255.0, colour.b / 255.0, colour.a / 255.0);
}

ImageRef DrawPicture(const zColor& background, const zColor& text, const char* message) {
    const int width = MacCaptureSource::kNoFeedWidth, height = MacCaptureSource::kNoFeedHeight;
    const int stride = cairo_format_stride_for_width(CAIRO_FORMAT_ARGB32, width);
    std::vector<uint8_t> pixels(size_t(stride) * height, 0);
    // ARGB32 is premultiplied native-endian: B G R A in memory here.
    cairo_surface_t* canvas =
        cairo_image_surface_create_for_data(pixels.data(), CAIRO_FORMAT_ARGB32, width, height, stride);
    cairo_t* cairo = cairo_create(canvas);
    cairo_set_operator(cairo, CAIRO_OPERATOR_SOURCE);
    SetColour(cairo, background);
    cairo_rectangle(cairo, 0, 0, width, height);
    cairo_fill(cairo);
    if (message && *message) {
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
    return std::make_shared<Image>(uint32_t(width), uint32_t(height), uint32_t(stride), std::move(pixels));
}
} // namespace

void MacCaptureSource::SetNoFeedFrameType(const zColor& background, const zColor& text, const char* message) {
    std::lock_guard lock(fObserverLock);
    fNoFeedSurface.reset();
    fNoFeedSurface = copyCGImageRefToIOSurface(*DrawPicture(background, text, message), {});
}

} // namespace MC
