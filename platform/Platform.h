#pragma once
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "Compositor.h"
#include "Cursor.h"
#include "DisplayLink.h"
#include "DisplayStream.h"
#include "Screens.h"
#include "SelectionUI.h"
#include "Surface.h"
#include "System.h"
#include "WindowFrames.h"
#include "WindowServer.h"

// The operating system as the portable core sees it: one small seam per
// system service, each shaped after the macOS call it stands for and keeping
// the macOS coordinate conventions (screen frames and the mouse global with
// the origin at the main screen's bottom-left and y up; window bounds global
// with the origin at the main screen's top-left and y down). The core
// includes only these interfaces, never an implementation: "sim" (a
// simulated desktop), "linux" and "mac" implement them.
namespace qcp::platform {

// One platform per process, holding every seam. The seams live as long as
// the platform; streams, links, window frames and surfaces made by it are
// released by the core before the platform is replaced.
class Platform {
public:
    virtual ~Platform() = default;
    // "sim", "linux" or "mac".
    virtual std::string_view Name() const = 0;

    virtual Screens& screens() = 0;
    virtual WindowServer& windowServer() = 0;
    virtual Cursor& cursor() = 0;
    virtual Compositor& compositor() = 0;
    virtual System& system() = 0;
    // The screen list into `into` (Screens::list) and the mouse location
    // (Cursor::mouseLocation) read together: what every pass that draws the
    // cursor asks. A platform that can put both questions to the system at
    // once does. Any thread, as those two calls.
    virtual Point screensAndMouse(std::vector<ScreenInfo>& into) {
        screens().list(into);
        return cursor().mouseLocation();
    }

    // A stream of `config.displayID`'s frames, not yet started. Null when the
    // display is not attached or the system refuses. Host's thread.
    virtual std::unique_ptr<DisplayStream> createDisplayStream(DisplayStreamConfig config) = 0;
    // A display link ticking at `displayID`'s refresh rate, not yet started.
    // Null when the display is not attached. Host's thread.
    virtual std::unique_ptr<DisplayLink> createDisplayLink(uint32_t displayID, DisplayLinkCallback callback) = 0;
    // A new surface (IOSurfaceCreate), retained for the caller, pixels all
    // zero; null when the properties are inconsistent (see Surface::Create)
    // or memory cannot be had. Any thread. Platforms that share surfaces with
    // other processes back them with shared memory.
    virtual Surface* createSurface(const SurfaceProperties& properties) { return Surface::Create(properties); }
    // Frames of window `number` read straight into surfaces (WindowFrames.h).
    // Null where the platform reads nothing cheaper than windowImage's
    // pictures, which the core then copies into a surface of its own. Any
    // thread.
    virtual std::unique_ptr<WindowFrames> createWindowFrames(uint32_t number) {
        (void)number;
        return nullptr;
    }

    // The selection window and the region selector overlay (SelectionUI.h)
    // for the core's controller `input`. Null where the platform has no user
    // interface; the core then shows nothing. Main queue only.
    virtual std::unique_ptr<SelectionWindowView> createSelectionWindow(SelectionWindowInput& input) {
        (void)input;
        return nullptr;
    }
    virtual std::unique_ptr<RegionOverlayView> createRegionOverlay(RegionOverlayInput& input) {
        (void)input;
        return nullptr;
    }
};

// The installed platform, or null before one is installed. Any thread.
Platform* Current();
// Installs `platform`, replacing (and destroying) any installed one. Called
// while no capture is running and nothing else reads Current(): at library
// initialisation or by a test before it starts the plug-in.
void Install(std::unique_ptr<Platform> platform);

} // namespace qcp::platform
