#include "OverlayPainter.h"

#include <pango/pangocairo.h>

#include <algorithm>

namespace qcp::platform::gtk::OverlayPainter {
namespace {

constexpr double kInsideWhite = 0.1;
constexpr double kOutsideBlack = 0.7;
constexpr double kTextInset = 10;
constexpr double kTextWidth = 310;
constexpr double kTextHeight = 40;
constexpr double kFontSize = 13;

void AddRect(cairo_t* cr, const Rect& rect) { cairo_rectangle(cr, rect.x, rect.y, rect.width, rect.height); }

void PaintPicture(cairo_t* cr, const OverlaySpace& space, cairo_surface_t* picture) {
    const int width = picture ? cairo_image_surface_get_width(picture) : 0;
    const int height = picture ? cairo_image_surface_get_height(picture) : 0;
    if (width <= 0 || height <= 0) {
        cairo_set_source_rgb(cr, 0, 0, 0);
        cairo_paint(cr);
        return;
    }
    cairo_save(cr);
    cairo_scale(cr, space.viewWidth() / width, space.viewHeight() / height);
    cairo_set_source_surface(cr, picture, 0, 0);
    cairo_paint(cr);
    cairo_restore(cr);
}

// Black dots on white ones, so the frame shows over light and dark alike.
void PaintFrame(cairo_t* cr, const Rect& selection, double alpha) {
    if (selection.width < 1 || selection.height < 1) return;
    cairo_save(cr);
    cairo_rectangle(cr, selection.x + 0.5, selection.y + 0.5, selection.width - 1, selection.height - 1);
    cairo_set_line_width(cr, 1);
    cairo_set_source_rgba(cr, 1, 1, 1, alpha);
    cairo_stroke_preserve(cr);
    static const double kDots[] = {2, 2};
    cairo_set_dash(cr, kDots, 2, 0);
    cairo_set_source_rgba(cr, 0, 0, 0, alpha);
    cairo_stroke(cr);
    cairo_restore(cr);
}

void PaintHandle(cairo_t* cr, const Rect& rect, cairo_surface_t* image, bool down, double alpha) {
    cairo_save(cr);
    if (image) {
        cairo_translate(cr, rect.x, rect.y);
        cairo_scale(cr, rect.width / cairo_image_surface_get_width(image),
                    rect.height / cairo_image_surface_get_height(image));
        cairo_set_source_surface(cr, image, 0, 0);
        cairo_paint_with_alpha(cr, alpha);
    } else {
        // The image is missing: a plain square still shows where to grab.
        const double shade = down ? 0.3 : 1.0;
        AddRect(cr, rect);
        cairo_set_source_rgba(cr, shade, shade, shade, alpha);
        cairo_fill(cr);
    }
    cairo_restore(cr);
}

void PaintInfoBox(cairo_t* cr, const OverlaySpace& space, const RegionOverlayState& state, double alpha) {
    if (state.infoBox.width <= 0 || state.infoBox.height <= 0) return;
    cairo_save(cr);
    AddRect(cr, space.TopDown(state.infoBox));
    cairo_set_source_rgba(cr, 0, 0, 0, alpha);
    cairo_fill(cr);
    const Rect area = space.TopDown(
        {state.infoBox.x + kTextInset, state.infoBox.y + kTextInset, kTextWidth, kTextHeight});
    AddRect(cr, area);
    cairo_clip(cr);
    PangoLayout* layout = pango_cairo_create_layout(cr);
    PangoFontDescription* font = pango_font_description_from_string("Sans");
    pango_font_description_set_absolute_size(font, kFontSize * PANGO_SCALE);
    pango_layout_set_font_description(layout, font);
    pango_font_description_free(font);
    pango_layout_set_width(layout, int(kTextWidth * PANGO_SCALE));
    pango_layout_set_wrap(layout, PANGO_WRAP_WORD_CHAR);
    pango_layout_set_alignment(layout, PANGO_ALIGN_CENTER);
    pango_layout_set_text(layout, state.message.c_str(), int(state.message.size()));
    int textWidth = 0, textHeight = 0;
    pango_layout_get_pixel_size(layout, &textWidth, &textHeight);
    cairo_move_to(cr, area.x, area.y + std::max(0.0, (kTextHeight - textHeight) / 2));
    cairo_set_source_rgba(cr, 1, 1, 1, alpha);
    pango_cairo_show_layout(cr, layout);
    g_object_unref(layout);
    cairo_restore(cr);
}

} // namespace

void Paint(cairo_t* cr, const OverlaySpace& space, const RegionOverlayState& state, cairo_surface_t* picture,
           const OverlayImages& images) {
    cairo_save(cr);
    cairo_set_operator(cr, CAIRO_OPERATOR_OVER);
    PaintPicture(cr, space, picture);
    // Faded out: the screen as it was, untouched.
    const double alpha = std::clamp(double(state.alpha), 0.0, 1.0);
    if (alpha > 0) {
        const Rect selection = space.TopDown(state.selection);
        AddRect(cr, selection);
        cairo_set_source_rgba(cr, 1, 1, 1, kInsideWhite * alpha);
        cairo_fill(cr);
        cairo_set_fill_rule(cr, CAIRO_FILL_RULE_EVEN_ODD);
        cairo_rectangle(cr, 0, 0, space.viewWidth(), space.viewHeight());
        AddRect(cr, selection);
        cairo_set_source_rgba(cr, 0, 0, 0, kOutsideBlack * alpha);
        cairo_fill(cr);
        PaintFrame(cr, selection, alpha);
        for (int corner = 1; corner <= 8; ++corner) {
            const bool down = corner == state.selectedCorner;
            PaintHandle(cr, space.TopDown(OverlayHandleRect(state.selection, corner)), images.knob(down), down, alpha);
        }
        PaintInfoBox(cr, space, state, alpha);
    }
    cairo_restore(cr);
}

} // namespace qcp::platform::gtk::OverlayPainter
