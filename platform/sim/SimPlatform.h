#pragma once
#include <memory>

#include "CpuCompositor.h"
#include "Platform.h"
#include "SimWorld.h"

namespace qcp::platform::sim {

// The simulated desktop as a platform: every seam reads or drives the world.
class SimPlatform final : public Platform, Screens, WindowServer, Cursor, System {
public:
    SimPlatform();

    SimWorld& world() { return fWorld; }

    std::string_view Name() const override { return "sim"; }
    Screens& screens() override { return *this; }
    WindowServer& windowServer() override { return *this; }
    Cursor& cursor() override { return *this; }
    Compositor& compositor() override { return fCompositor; }
    System& system() override { return *this; }
    std::unique_ptr<DisplayStream> createDisplayStream(DisplayStreamConfig config) override;
    std::unique_ptr<DisplayLink> createDisplayLink(uint32_t displayID, DisplayLinkCallback callback) override;

    std::vector<ScreenInfo> list() const override { return fWorld.Screens(); }
    std::vector<WindowInfo> windowList(bool onScreenOnly) const override { return fWorld.WindowList(onScreenOnly); }
    std::optional<WindowInfo> window(uint32_t number) const override { return fWorld.WindowEntry(number); }
    ImageRef windowImage(uint32_t number) const override { return fWorld.WindowImage(number); }
    int32_t ownPID() const override { return fWorld.OwnPID(); }
    Point mouseLocation() const override { return fWorld.Mouse(); }
    CursorImage currentCursor() const override { return fWorld.Cursor(); }
    bool hasScreenRecordingPermission() const override { return fWorld.ScreenRecordingPermission(); }
    std::string resourceFolder() const override { return "sim-resources"; }
    void showAlertSheet(const Alert& alert) override { fWorld.RecordAlert(alert); }
    int runModalAlert(const Alert& alert) override;

private:
    double RefreshRate(uint32_t displayID) const;

    SimWorld fWorld;
    CpuCompositor fCompositor;
};

// An empty world: tests fill it.
std::unique_ptr<SimPlatform> MakePlatform();
// The default world, for demonstrations and `qcp-host` on the sim platform.
std::unique_ptr<SimPlatform> MakeDefaultPlatform();

} // namespace qcp::platform::sim
