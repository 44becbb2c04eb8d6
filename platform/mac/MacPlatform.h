#pragma once
#include "MacCursor.h"
#include "MacGLCompositor.h"
#include "MacScreens.h"
#include "MacSystem.h"
#include "MacWindowServer.h"
#include "Platform.h"

namespace qcp::platform::mac {

// The real desktop on macOS. Surfaces are IOSurfaces (hosts find them with
// IOSurfaceLookup); display streams are CGDisplayStreams and links
// CVDisplayLinks. Compositing is done on the GPU (the CPU where it cannot
// be). The selection window and the region overlay are AppKit's.
class MacPlatform final : public Platform {
public:
    std::string_view Name() const override { return "mac"; }
    Screens& screens() override { return fScreens; }
    WindowServer& windowServer() override { return fWindowServer; }
    Cursor& cursor() override { return fCursor; }
    Compositor& compositor() override { return fCompositor; }
    System& system() override { return fSystem; }
    std::unique_ptr<DisplayStream> createDisplayStream(DisplayStreamConfig config) override;
    std::unique_ptr<DisplayLink> createDisplayLink(uint32_t displayID, DisplayLinkCallback callback) override;
    Surface* createSurface(const SurfaceProperties& properties) override;
    std::unique_ptr<SelectionWindowView> createSelectionWindow(SelectionWindowInput& input) override;
    std::unique_ptr<RegionOverlayView> createRegionOverlay(RegionOverlayInput& input) override;

private:
    MacScreens fScreens;
    MacWindowServer fWindowServer;
    MacCursor fCursor;
    MacGLCompositor fCompositor;
    MacSystem fSystem;
};

} // namespace qcp::platform::mac
