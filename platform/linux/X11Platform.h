#pragma once
#include <memory>
#include <string>

#include "CpuCompositor.h"
#include "Platform.h"
#include "X11Cursor.h"
#include "X11Screens.h"
#include "X11System.h"
#include "X11WindowServer.h"

namespace qcp::platform::x11 {

// The real desktop on an X server. Screens, the window server and the cursor
// each keep a connection of their own (they are called from any thread and
// should not wait for each other); every display stream opens one for its
// capture thread. Surfaces are shared memory that MIT-SHM can write into;
// compositing is done on the CPU.
class X11Platform final : public Platform {
public:
    // Connects to `displayName` (empty: $DISPLAY). Null, with the reason in
    // `error`, when the display cannot be opened.
    static std::unique_ptr<X11Platform> Create(const std::string& displayName, std::string& error);

    std::string_view Name() const override { return "linux"; }
    Screens& screens() override { return fScreens; }
    WindowServer& windowServer() override { return fWindowServer; }
    Cursor& cursor() override { return fCursor; }
    Compositor& compositor() override { return fCompositor; }
    System& system() override { return fSystem; }
    std::unique_ptr<DisplayStream> createDisplayStream(DisplayStreamConfig config) override;
    std::unique_ptr<DisplayLink> createDisplayLink(uint32_t displayID, DisplayLinkCallback callback) override;
    Surface* createSurface(const SurfaceProperties& properties) override;

    // The display name every connection is made to.
    const std::string& displayName() const { return fDisplayName; }

private:
    X11Platform(std::string displayName, std::unique_ptr<X11Connection> screens, std::unique_ptr<X11Connection> windows,
                std::unique_ptr<X11Connection> cursor);

    const std::string fDisplayName;
    X11Screens fScreens;
    X11WindowServer fWindowServer;
    X11Cursor fCursor;
    CpuCompositor fCompositor;
    X11System fSystem;
};

} // namespace qcp::platform::x11
