#include "SimPlatform.h"

#include <cassert>

#include "SimDisplayLink.h"
#include "SimDisplayStream.h"

namespace qcp::platform::sim {

std::unique_ptr<DisplayStream> SimPlatform::createDisplayStream(DisplayStreamConfig config) {
    assert(config.queue && config.handler && config.outputWidth > 0 && config.outputHeight > 0);
    assert(!config.sourceRect || (config.sourceRect->width > 0 && config.sourceRect->height > 0));
    const std::optional<ScreenInfo> screen = fWorld.Screen(config.displayID);
    if (!screen) return nullptr;
    return std::make_unique<SimDisplayStream>(fWorld, std::move(config), screen->refreshRate);
}

std::unique_ptr<DisplayLink> SimPlatform::createDisplayLink(uint32_t displayID, DisplayLinkCallback callback) {
    assert(callback);
    const std::optional<ScreenInfo> screen = fWorld.Screen(displayID);
    if (!screen) return nullptr;
    return std::make_unique<SimDisplayLink>(fWorld, screen->refreshRate, std::move(callback));
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
