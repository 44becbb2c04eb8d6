#include "OverlayCursors.h"

#include "OverlayImages.h"

namespace qcp::platform::gtk {
namespace {

static_assert(size_t(OverlayCursor::ResizeDiagonalRL) == 6, "one cursor slot for each look");

GObjectPtr<GdkCursor> Named(GdkDisplay* display, const char* name) {
    return GObjectPtr<GdkCursor>(gdk_cursor_new_from_name(display, name));
}

GObjectPtr<GdkCursor> FromImage(GdkDisplay* display, const std::string& folder, const char* image,
                                const char* fallback) {
    const GObjectPtr<GdkPixbuf> pixbuf = OverlayImages::Load(folder, image, 0);
    if (!pixbuf) return Named(display, fallback);
    return GObjectPtr<GdkCursor>(gdk_cursor_new_from_pixbuf(display, pixbuf.get(), gdk_pixbuf_get_width(pixbuf.get()) / 2,
                                                            gdk_pixbuf_get_height(pixbuf.get()) / 2));
}

} // namespace

OverlayCursors::OverlayCursors(GdkDisplay* display, const std::string& folder) {
    // Named, not left unset: an unset cursor is the root window's, a cross
    // on a bare X server.
    fCursors[size_t(OverlayCursor::Arrow)] = Named(display, "default");
    fCursors[size_t(OverlayCursor::OpenHand)] = Named(display, "grab");
    fCursors[size_t(OverlayCursor::ClosedHand)] = Named(display, "grabbing");
    fCursors[size_t(OverlayCursor::ResizeLeftRight)] = Named(display, "ew-resize");
    fCursors[size_t(OverlayCursor::ResizeUpDown)] = Named(display, "ns-resize");
    fCursors[size_t(OverlayCursor::ResizeDiagonalLR)] = FromImage(display, folder, "resizeCursorLR", "nwse-resize");
    fCursors[size_t(OverlayCursor::ResizeDiagonalRL)] = FromImage(display, folder, "resizeCursorRL", "nesw-resize");
}

} // namespace qcp::platform::gtk
