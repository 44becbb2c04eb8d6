#include "OverlayImages.h"

#include <cmath>

#include "zTraceManager.h"

namespace qcp::platform::gtk {
namespace {

constexpr double kKnobPoints = 14;
constexpr uint32_t kTraceNote = 0x6E6F7465; // 'note'

CairoSurfacePtr SurfaceOf(const GdkPixbuf* pixbuf, GdkWindow* window) {
    if (!pixbuf) return nullptr;
    // Converted once here rather than on every redraw.
    return CairoSurfacePtr(gdk_cairo_surface_create_from_pixbuf(pixbuf, 1, window));
}

} // namespace

OverlayImages::OverlayImages(const std::string& folder, double pixelsPerPoint, GdkWindow* window) {
    const int size = int(std::lround(kKnobPoints * (pixelsPerPoint > 0 ? pixelsPerPoint : 1)));
    fKnob = SurfaceOf(Load(folder, "knob", size).get(), window);
    fKnobDown = SurfaceOf(Load(folder, "knobDown", size).get(), window);
}

GObjectPtr<GdkPixbuf> OverlayImages::Load(const std::string& folder, const char* name, int size) {
    const std::string path = folder + "/" + name + ".svg";
    GError* error = nullptr;
    GdkPixbuf* pixbuf = size > 0 ? gdk_pixbuf_new_from_file_at_scale(path.c_str(), size, size, FALSE, &error)
                                 : gdk_pixbuf_new_from_file(path.c_str(), &error);
    if (error) {
        // Once per overlay: the overlay still works, with plain stand-ins.
        zTraceManager::Default().TraceMessage(kTraceNote, std::string("region overlay: ") + error->message);
        g_error_free(error);
    }
    return GObjectPtr<GdkPixbuf>(pixbuf);
}

} // namespace qcp::platform::gtk
