#pragma once
#include <memory>
#include <string>

#include "CpuCompositor.h"
#include "Platform.h"
#include "X11Cursor.h"
#include "X11Screens.h"
#include "X11Server.h"
#include "X11System.h"
#include "X11WindowServer.h"

namespace qcp::platform::gtk {
class GtkLoop;
}

namespace qcp::platform::x11 {

// The real desktop on an X server. Screens, the window server and the cursor
// each keep a connection of their own (they are called from any thread and
// should not wait for each other); every display stream opens one, which
// it reads on its queue. Surfaces are shared memory that MIT-SHM can write into;
// compositing is done on the CPU.
//
// The platform exists whether or not the server can be reached. Without it
// (no display, or it is lost) there are no screens, windows or cursor, and
// streams and links are not made (null); the server is tried again as
// X11Server describes, and what comes after its return works as before.
// Streams and links made before a loss end (see X11DisplayStream,
// X11DisplayLink); new ones must be made.
//
// Windows and alerts are GTK's (GtkLoop), when the plug-in is built with it
// and not under ThreadSanitizer (GTK and GLib are not built for it: their
// hand-offs would all read as races); otherwise none are shown.
class X11Platform final : public Platform {
public:
    // Works on `displayName`; empty when there is no display. Connects at
    // once, so that a display that cannot be opened is reported now rather
    // than at first use.
    explicit X11Platform(const std::string& displayName);
    ~X11Platform() override;

    std::string_view Name() const override { return "linux"; }
    Screens& screens() override { return fScreens; }
    WindowServer& windowServer() override { return fWindowServer; }
    Cursor& cursor() override { return fCursor; }
    Compositor& compositor() override { return fCompositor; }
    System& system() override { return fSystem; }
    Point screensAndMouse(std::vector<ScreenInfo>& into) override { return fScreens.listWithMouse(into); }
    std::unique_ptr<DisplayStream> createDisplayStream(DisplayStreamConfig config) override;
    std::unique_ptr<DisplayLink> createDisplayLink(uint32_t displayID, DisplayLinkCallback callback) override;
    Surface* createSurface(const SurfaceProperties& properties) override;
    std::unique_ptr<WindowFrames> createWindowFrames(uint32_t number) override;
    std::unique_ptr<SelectionWindowView> createSelectionWindow(SelectionWindowInput& input) override;
    std::unique_ptr<RegionOverlayView> createRegionOverlay(RegionOverlayInput& input) override;

private:
    std::unique_ptr<gtk::GtkLoop> fGtk; // null: no windows
    X11Server fServer;
    X11Screens fScreens{fServer};
    X11WindowServer fWindowServer{fServer};
    X11Cursor fCursor{fServer};
    CpuCompositor fCompositor;
    X11System fSystem{fGtk.get()};
};

} // namespace qcp::platform::x11
