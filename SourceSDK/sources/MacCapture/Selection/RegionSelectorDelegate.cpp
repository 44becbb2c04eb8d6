#include "RegionSelectorDelegate.h"

#include "MacCaptureDisplayUtils.h"
#include "MainQueueTimer.h"
#include "RegionCoordinates.h"

namespace OBRN {
namespace {
constexpr int64_t kMonitorIntervalMicros = 250'000;
}

RegionSelectorDelegate::RegionSelectorDelegate(std::shared_ptr<vnRegionSelector> selector, RegionCallback handler,
                                               void* userData, unsigned int displayID)
    : fSelector(std::move(selector)), fHandler(handler), fUserData(userData), fDisplayID(displayID) {}

std::vector<RegionSelectorDelegate*> RegionSelectorDelegate::sOpen;

RegionSelectorDelegate::~RegionSelectorDelegate() { std::erase(sOpen, this); }

void RegionSelectorDelegate::startMonitoring() {
    fMonitorStatusTimer =
        std::make_unique<MainQueueTimer>(kMonitorIntervalMicros, [self = shared_from_this()] { self->monitorCheck(); });
    sOpen.push_back(this);
}

std::shared_ptr<RegionSelectorDelegate> RegionSelectorDelegate::Find(void* userData) {
    for (RegionSelectorDelegate* open : sOpen)
        if (open->fUserData == userData) return open->shared_from_this();
    return nullptr;
}

void RegionSelectorDelegate::cancel() {
    if (fSelector) fSelector->editingDone(true);
}

void RegionSelectorDelegate::regionSelectorSelectionComplete(vnRegionSelector& selector,
                                                             const qcp::platform::Rect& selection) {
    // Stopping the check below lets go of the last other hold on this delegate.
    const std::shared_ptr<RegionSelectorDelegate> keep = shared_from_this();
    if (selector.getSelectionWasCancelled()) {
        fHandler(false, 0, 0, 0, 0, fUserData);
    } else {
        const qcp::platform::Rect frame = selector.screen() ? selector.screen()->frame : qcp::platform::Rect{};
        const DisplayRegion region = ScreenToDisplay(selection, frame);
        fHandler(true, region.x, region.y, region.width, region.height, fUserData);
    }
    selector.setScreen(std::nullopt);
    selector.setSelectScreenRegionMessage({});
    selector.setDelegate(nullptr);
    std::erase(sOpen, this);
    fMonitorStatusTimer.reset();
    fSelector.reset();
}

void RegionSelectorDelegate::monitorCheck() {
    // The cancel ends the choice and these checks with it: a display that
    // comes back afterwards finds no overlay to show again.
    if (MC::screenFromDisplayID(fDisplayID)) return;
    fSelector->setSelectionWasCancelled(true);
    regionSelectorSelectionComplete(*fSelector, {});
}

} // namespace OBRN
