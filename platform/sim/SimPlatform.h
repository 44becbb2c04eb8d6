#pragma once
#include <memory>

#include "CpuCompositor.h"
#include "Platform.h"
#include "SimUser.h"
#include "SimWorld.h"

namespace qcp::platform::sim {

// The simulated desktop as a platform: every seam reads or drives its world.
// Screens, the window server, the cursor and the system answer from the
// world; display streams and links tick on the world's clock; the
// compositor is the CPU one; surfaces are plain process memory.
class SimPlatform final : public Platform, Screens, WindowServer, Cursor, System {
public:
    SimPlatform() = default;

    SimWorld& world() { return fWorld; }
    // Who answers the selection window and the region overlay.
    SimUser& user() { return fUser; }

    std::string_view Name() const override { return "sim"; }
    Screens& screens() override { return *this; }
    WindowServer& windowServer() override { return *this; }
    Cursor& cursor() override { return *this; }
    Compositor& compositor() override { return fCompositor; }
    System& system() override { return *this; }
    std::unique_ptr<DisplayStream> createDisplayStream(DisplayStreamConfig config) override;
    std::unique_ptr<DisplayLink> createDisplayLink(uint32_t displayID, DisplayLinkCallback callback) override;
    std::unique_ptr<SelectionWindowView> createSelectionWindow(SelectionWindowInput& input) override {
        return fUser.MakeWindowView(input);
    }
    std::unique_ptr<RegionOverlayView> createRegionOverlay(RegionOverlayInput& input) override {
        return fUser.MakeOverlayView(input);
    }

    using Screens::list;
    void list(std::vector<ScreenInfo>& screens) const override { screens = fWorld.Screens(); }
    std::vector<WindowInfo> windowList(bool onScreenOnly) const override { return fWorld.WindowList(onScreenOnly); }
    std::optional<WindowInfo> window(uint32_t number) const override { return fWorld.WindowEntry(number); }
    ImageRef windowImage(uint32_t number) const override { return fWorld.WindowImage(number); }
    int32_t ownPID() const override { return fWorld.OwnPID(); }
    Point mouseLocation() const override { return fWorld.Mouse(); }
    CursorImage currentCursor() const override { return fWorld.Cursor(); }
    bool hasScreenRecordingPermission() const override { return fWorld.ScreenRecordingPermission(); }
    std::string resourceFolder() const override { return fWorld.ResourceFolder(); }
    // Recorded; a test reads them from the world.
    void showAlertSheet(const Alert& alert) override { fWorld.RecordAlert(alert); }
    // Recorded, answered with the world's configured button at once.
    int runModalAlert(const Alert& alert) override;
    // Recorded as running; a test ends it through the world.
    void runInstallerPackage(const std::string& path, std::function<void(int exitStatus)> exited) override {
        fWorld.StartInstaller(path, std::move(exited));
    }

private:
    SimWorld fWorld;
    SimUser fUser;
    CpuCompositor fCompositor;
};

// An empty world: no display, no window. Tests fill it.
std::unique_ptr<SimPlatform> MakePlatform();
// The default world (SimWorld::PopulateDefault), for demonstrations and
// `qcp-host` on the sim platform.
std::unique_ptr<SimPlatform> MakeDefaultPlatform();

} // namespace qcp::platform::sim
