#include "SimPlatform.h"

#include "SimDisplayLink.h"
#include "SimDisplayStream.h"

namespace qcp::platform::sim {

SimPlatform::SimPlatform() = default;

double SimPlatform::RefreshRate(uint32_t displayID) const {
    for (const ScreenInfo& screen : fWorld.Screens())
        if (screen.displayID == displayID) return screen.refreshRate > 0 ? screen.refreshRate : 60;
    return 0;
}

std::unique_ptr<DisplayStream> SimPlatform::createDisplayStream(DisplayStreamConfig config) {
    const double rate = RefreshRate(config.displayID);
    if (rate == 0 || !config.queue || !config.handler || config.outputWidth == 0 || config.outputHeight == 0)
        return nullptr;
    return std::make_unique<SimDisplayStream>(fWorld, std::move(config), rate);
}

std::unique_ptr<DisplayLink> SimPlatform::createDisplayLink(uint32_t displayID, DisplayLinkCallback callback) {
    const double rate = RefreshRate(displayID);
    if (rate == 0 || !callback) return nullptr;
    return std::make_unique<SimDisplayLink>(rate, std::move(callback));
}

int SimPlatform::runModalAlert(const Alert& alert) {
    fWorld.RecordAlert(alert);
    return fWorld.ModalAlertAnswer();
}

std::unique_ptr<SimPlatform> MakePlatform() { return std::make_unique<SimPlatform>(); }

std::unique_ptr<SimPlatform> MakeDefaultPlatform() {
    auto platform = MakePlatform();
    SimWorld::PopulateDefault(platform->world());
    return platform;
}

} // namespace qcp::platform::sim
