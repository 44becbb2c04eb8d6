#include "RegionChooser.h"

#include <string>

#include "CommonSDKVariables.h"
#include "MacCaptureDisplayUtils.h"
#include "RegionCoordinates.h"
#include "RegionSelectorDelegate.h"
#include "vnRegionSelector.h"
#include "zQueue.h"

namespace OBRN {
namespace {

std::string Localised(const char* key) {
    const char* text = CSDK::TranslateString(key);
    return text ? text : key;
}

bool Choose(unsigned int displayID, RegionCallback callback, void* userData, const DisplayRegion& proposed) {
    const std::optional<qcp::platform::ScreenInfo> screen = MC::screenFromDisplayID(displayID);
    if (!screen) return false;
    auto selector = vnRegionSelector::Create(Localised("obr_select_screen_region_message"));
    auto delegate = std::make_shared<RegionSelectorDelegate>(selector, callback, userData, displayID);
    selector->setDelegate(delegate.get());
    selector->setScreen(screen);
    selector->setSelection(DisplayToScreen(proposed, screen->frame));
    if (!selector->show()) return false;
    delegate->startMonitoring();
    return true;
}

} // namespace

bool ChooseRegion(int displayID, RegionCallback callback, void* userData, int x, int y, int width, int height) {
    if (!callback) return false;
    bool shown = false;
    zQueue::Main().Sync([&] { shown = Choose(unsigned(displayID), callback, userData, {x, y, width, height}); });
    return shown;
}

void CancelRegionChoice(void* userData) {
    if (const std::shared_ptr<RegionSelectorDelegate> open = RegionSelectorDelegate::Find(userData)) open->cancel();
}

} // namespace OBRN
