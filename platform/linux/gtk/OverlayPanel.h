#pragma once
#include <gtk/gtk.h>

#include <memory>
#include <optional>
#include <string>

#include "GObjectPointers.h"
#include "MainQueueLink.h"
#include "OverlayCursors.h"
#include "OverlayImages.h"
#include "OverlaySpace.h"
#include "SelectionUI.h"

namespace qcp::platform::gtk {

// The GTK side of the region selector overlay: an override-redirect window
// over one screen, showing a picture of the screen frozen when it opened with
// the overlay drawn over it (no compositor is needed for the see-through
// look), holding the keyboard and pointer while it is up, and sending the
// user's input to the core through the link. Made anywhere; used on GTK's
// thread alone from then on, and closed there before it goes.
class OverlayPanel {
public:
    using Link = MainQueueLink<RegionOverlayInput>;

    OverlayPanel(std::shared_ptr<Link> link, std::string resourceFolder);
    OverlayPanel(const OverlayPanel&) = delete;
    OverlayPanel& operator=(const OverlayPanel&) = delete;

    // Opens the window over `screen`. Without a display, the core is told
    // the choice was cancelled, once, and nothing is shown.
    void Show(const ScreenInfo& screen, const RegionOverlayState& state);
    void Update(const RegionOverlayState& state, const Rect& area);
    // Lets go of the keyboard and pointer and destroys the window.
    void Close();

private:
    void Open(const ScreenInfo& screen);
    void Invalidate(const Rect& area);
    void ApplyCursor();
    void Grab();
    // Sends the pointer's place, in the view's coordinates, to one of the
    // input's mouse calls.
    void SendPointer(void (RegionOverlayInput::*call)(Point), double x, double y);

    static gboolean OnDraw(GtkWidget* widget, cairo_t* cr, gpointer self);
    static gboolean OnButton(GtkWidget* widget, GdkEventButton* event, gpointer self);
    static gboolean OnMotion(GtkWidget* widget, GdkEventMotion* event, gpointer self);
    static gboolean OnKey(GtkWidget* widget, GdkEventKey* event, gpointer self);
    static gboolean OnMapped(GtkWidget* widget, GdkEvent* event, gpointer self);
    static gboolean RetryGrab(gpointer self);

    std::shared_ptr<Link> fLink;
    std::string fResourceFolder;
    bool fToldCancelled = false;
    GtkWidget* fWindow = nullptr;
    OverlaySpace fSpace;
    CairoSurfacePtr fPicture;
    std::optional<OverlayImages> fImages;
    std::optional<OverlayCursors> fCursors;
    RegionOverlayState fState;
    GdkSeat* fGrabbedSeat = nullptr;
    guint fGrabRetry = 0;
    int fGrabTries = 0;
};

} // namespace qcp::platform::gtk
