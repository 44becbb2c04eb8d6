#include "OverlayPanel.h"

#include <gdk/gdkx.h>

#include "GtkLoop.h"
#include "OverlayPainter.h"
#include "X11Monitors.h"
#include "zTraceManager.h"

namespace qcp::platform::gtk {
namespace {

constexpr uint32_t kTraceNote = 0x6E6F7465; // 'note'
// The window is viewable only once the server has mapped it; a grab asked
// for before then fails, and so does one while another client holds a grab.
constexpr guint kGrabRetryMillis = 50;
constexpr int kGrabTries = 40;
constexpr uint32_t kReturnCharacter = 13;
constexpr uint32_t kEnterCharacter = 3;
constexpr double kHandleReach = 16;

Rect Grown(const Rect& rect, double by) {
    return {rect.x - by, rect.y - by, rect.width + 2 * by, rect.height + 2 * by};
}

} // namespace

OverlayPanel::OverlayPanel(std::shared_ptr<Link> link, std::string resourceFolder)
    : fLink(std::move(link)), fResourceFolder(std::move(resourceFolder)) {}

void OverlayPanel::Show(const ScreenInfo& screen, const RegionOverlayState& state) {
    if (!GtkLoop::Ready() || !GDK_IS_X11_DISPLAY(gdk_display_get_default())) {
        // Nothing can be shown: the core ends the choice as cancelled.
        if (!fToldCancelled) Link::Send(fLink, [](RegionOverlayInput& input) { input.CancelOperation(); });
        fToldCancelled = true;
        return;
    }
    fState = state;
    if (!fWindow) Open(screen);
    // Never shown; named for tools that look windows up by name.
    gtk_window_set_title(GTK_WINDOW(fWindow), state.message.c_str());
    ApplyCursor();
    gtk_widget_queue_draw(fWindow);
}

void OverlayPanel::Open(const ScreenInfo& screen) {
    GdkDisplay* display = gdk_display_get_default();
    GdkWindow* root = gdk_get_default_root_window();
    Display* xdisplay = gdk_x11_display_get_xdisplay(display);
    const std::vector<x11::X11Monitor> monitors = x11::X11Monitors::Read(xdisplay, gdk_x11_window_get_xid(root));
    fSpace = OverlaySpace(screen.frame, screen.backingScale, x11::X11Monitors::Main(xdisplay, monitors),
                          gdk_window_get_scale_factor(root));
    const OverlaySpace::Area& area = fSpace.window();
    // Before the window maps, so that the picture is of the screen alone.
    const GObjectPtr<GdkPixbuf> picture(gdk_pixbuf_get_from_window(root, area.x, area.y, area.width, area.height));
    if (picture) fPicture.reset(gdk_cairo_surface_create_from_pixbuf(picture.get(), 1, root));
    fImages.emplace(fResourceFolder, screen.backingScale, root);
    fCursors.emplace(display, fResourceFolder);

    // A popup is override-redirect: placed as asked, above the others, with
    // or without a window manager.
    fWindow = gtk_window_new(GTK_WINDOW_POPUP);
    gtk_widget_set_app_paintable(fWindow, TRUE);
    gtk_window_move(GTK_WINDOW(fWindow), area.x, area.y);
    gtk_widget_set_size_request(fWindow, area.width, area.height);
    gtk_widget_add_events(fWindow, GDK_POINTER_MOTION_MASK | GDK_BUTTON_PRESS_MASK | GDK_BUTTON_RELEASE_MASK |
                                       GDK_KEY_PRESS_MASK | GDK_STRUCTURE_MASK);
    g_signal_connect(fWindow, "draw", G_CALLBACK(OnDraw), this);
    g_signal_connect(fWindow, "button-press-event", G_CALLBACK(OnButton), this);
    g_signal_connect(fWindow, "button-release-event", G_CALLBACK(OnButton), this);
    g_signal_connect(fWindow, "motion-notify-event", G_CALLBACK(OnMotion), this);
    g_signal_connect(fWindow, "key-press-event", G_CALLBACK(OnKey), this);
    g_signal_connect(fWindow, "map-event", G_CALLBACK(OnMapped), this);
    gtk_widget_show(fWindow);
}

void OverlayPanel::Update(const RegionOverlayState& state, const Rect& area) {
    if (!fWindow) return;
    const RegionOverlayState old = std::move(fState);
    fState = state;
    if (old.cursor != state.cursor) ApplyCursor();
    // The fade dims every layer drawn over the picture.
    if (old.alpha != state.alpha) {
        gtk_widget_queue_draw(fWindow);
        return;
    }
    Invalidate(area);
    if (old.selectedCorner != state.selectedCorner) {
        if (old.selectedCorner != 0) Invalidate(OverlayHandleRect(old.selection, old.selectedCorner));
        if (state.selectedCorner != 0) Invalidate(OverlayHandleRect(state.selection, state.selectedCorner));
    }
    if (old.selection != state.selection) {
        Invalidate(Grown(old.selection, kHandleReach));
        Invalidate(Grown(state.selection, kHandleReach));
    }
    if (old.infoBox != state.infoBox || old.message != state.message) {
        Invalidate(old.infoBox);
        Invalidate(state.infoBox);
    }
}

void OverlayPanel::Close() {
    if (fGrabRetry != 0) g_source_remove(fGrabRetry);
    fGrabRetry = 0;
    if (fGrabbedSeat) gdk_seat_ungrab(fGrabbedSeat);
    fGrabbedSeat = nullptr;
    if (fWindow) {
        gtk_widget_destroy(fWindow);
        fWindow = nullptr;
        // GTK's own thread may stop right after this; the server must still
        // hear of the ungrab and the window's end.
        gdk_display_flush(gdk_display_get_default());
    }
    fCursors.reset();
    fImages.reset();
    fPicture.reset();
}

void OverlayPanel::Invalidate(const Rect& area) {
    const OverlaySpace::Area units = fSpace.WindowFromView(area);
    if (units.width > 0 && units.height > 0)
        gtk_widget_queue_draw_area(fWindow, units.x, units.y, units.width, units.height);
}

void OverlayPanel::ApplyCursor() {
    if (GdkWindow* window = gtk_widget_get_window(fWindow)) gdk_window_set_cursor(window, fCursors->For(fState.cursor));
}

void OverlayPanel::Grab() {
    GdkSeat* seat = gdk_display_get_default_seat(gtk_widget_get_display(fWindow));
    // Not owner events: every key and pointer event comes to this window, in
    // its coordinates, wherever the pointer is.
    if (gdk_seat_grab(seat, gtk_widget_get_window(fWindow), GDK_SEAT_CAPABILITY_ALL, FALSE, nullptr, nullptr, nullptr,
                      nullptr) == GDK_GRAB_SUCCESS) {
        fGrabbedSeat = seat;
        return;
    }
    if (++fGrabTries < kGrabTries) {
        fGrabRetry = g_timeout_add(kGrabRetryMillis, RetryGrab, this);
        return;
    }
    zTraceManager::Default().TraceMessage(kTraceNote, "region overlay: the keyboard and pointer could not be grabbed");
}

void OverlayPanel::SendPointer(void (RegionOverlayInput::*call)(Point), double x, double y) {
    const Point at = fSpace.ViewFromWindow(x, y);
    Link::Send(fLink, [call, at](RegionOverlayInput& input) { (input.*call)(at); });
}

gboolean OverlayPanel::OnDraw(GtkWidget*, cairo_t* cr, gpointer self) {
    auto* panel = static_cast<OverlayPanel*>(self);
    // From GTK units to the view's points; the painter works top-down in points.
    const double unitsPerPoint = 1 / panel->fSpace.pointsPerUnit();
    cairo_scale(cr, unitsPerPoint, unitsPerPoint);
    OverlayPainter::Paint(cr, panel->fSpace, panel->fState, panel->fPicture.get(), *panel->fImages);
    return TRUE;
}

gboolean OverlayPanel::OnButton(GtkWidget*, GdkEventButton* event, gpointer self) {
    if (event->button != GDK_BUTTON_PRIMARY) return FALSE;
    auto* panel = static_cast<OverlayPanel*>(self);
    // A double click also reports a second press of its own kind: not a new press.
    if (event->type == GDK_BUTTON_PRESS) panel->SendPointer(&RegionOverlayInput::MouseDown, event->x, event->y);
    else if (event->type == GDK_BUTTON_RELEASE) panel->SendPointer(&RegionOverlayInput::MouseUp, event->x, event->y);
    return TRUE;
}

gboolean OverlayPanel::OnMotion(GtkWidget*, GdkEventMotion* event, gpointer self) {
    auto* panel = static_cast<OverlayPanel*>(self);
    panel->SendPointer((event->state & GDK_BUTTON1_MASK) ? &RegionOverlayInput::MouseDragged
                                                         : &RegionOverlayInput::MouseMoved,
                       event->x, event->y);
    return TRUE;
}

gboolean OverlayPanel::OnKey(GtkWidget*, GdkEventKey* event, gpointer self) {
    auto* panel = static_cast<OverlayPanel*>(self);
    switch (event->keyval) {
    case GDK_KEY_Return:
        Link::Send(panel->fLink, [](RegionOverlayInput& input) { input.KeyDown(kReturnCharacter); });
        return TRUE;
    case GDK_KEY_KP_Enter:
        Link::Send(panel->fLink, [](RegionOverlayInput& input) { input.KeyDown(kEnterCharacter); });
        return TRUE;
    case GDK_KEY_Escape:
        Link::Send(panel->fLink, [](RegionOverlayInput& input) { input.CancelOperation(); });
        return TRUE;
    default: return FALSE;
    }
}

gboolean OverlayPanel::OnMapped(GtkWidget*, GdkEvent*, gpointer self) {
    auto* panel = static_cast<OverlayPanel*>(self);
    if (!panel->fGrabbedSeat && panel->fGrabRetry == 0) panel->Grab();
    return FALSE;
}

gboolean OverlayPanel::RetryGrab(gpointer self) {
    auto* panel = static_cast<OverlayPanel*>(self);
    panel->fGrabRetry = 0;
    panel->Grab();
    return G_SOURCE_REMOVE;
}

} // namespace qcp::platform::gtk
