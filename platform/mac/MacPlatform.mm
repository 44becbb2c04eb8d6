#include "MacPlatform.h"

#include "MacDisplayLink.h"
#include "MacDisplayStream.h"
#include "MacFactory.h"
#include "MacRegionOverlay.h"
#include "MacSelectionWindow.h"
#include "MacSurfaceMemory.h"

namespace qcp::platform::mac {

std::unique_ptr<DisplayStream> MacPlatform::createDisplayStream(DisplayStreamConfig config) {
    return MacDisplayStream::Create(std::move(config));
}

std::unique_ptr<DisplayLink> MacPlatform::createDisplayLink(uint32_t displayID, DisplayLinkCallback callback) {
    return MacDisplayLink::Create(displayID, std::move(callback));
}

Surface* MacPlatform::createSurface(const SurfaceProperties& properties) {
    std::unique_ptr<MacSurfaceMemory> memory = MacSurfaceMemory::Create(properties);
    return memory ? Surface::Create(properties, std::move(memory)) : nullptr;
}

std::unique_ptr<SelectionWindowView> MacPlatform::createSelectionWindow(SelectionWindowInput& input) {
    return std::make_unique<MacSelectionWindow>(input);
}

std::unique_ptr<RegionOverlayView> MacPlatform::createRegionOverlay(RegionOverlayInput& input) {
    return std::make_unique<MacRegionOverlay>(input, fSystem.resourceFolder());
}

std::unique_ptr<Platform> MakePlatform() { return std::make_unique<MacPlatform>(); }

} // namespace qcp::platform::mac
