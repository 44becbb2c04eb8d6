#pragma once
#include <memory>
#include <vector>

#include "RegionChooser.h"
#include "vnRegionSelector.h"

class MainQueueTimer;

namespace OBRN {

// One region choice: hands its outcome to the callback, converted to the
// display's top-left coordinates, and ends the choice as cancelled when the
// display goes away. Once monitoring, it keeps itself alive through its
// display check until the choice ends; then it lets the selector go, which
// finishes fading out on its own. Main queue only.
class RegionSelectorDelegate final : public vnRegionSelectorDelegate,
                                     public std::enable_shared_from_this<RegionSelectorDelegate> {
public:
    RegionSelectorDelegate(std::shared_ptr<vnRegionSelector> selector, RegionCallback handler, void* userData,
                           unsigned int displayID);
    ~RegionSelectorDelegate();

    // Looks for the display every quarter second from now on; until the
    // choice ends, Find answers this delegate for its user data.
    void startMonitoring();
    static std::shared_ptr<RegionSelectorDelegate> Find(void* userData);
    // Ends the choice as cancelled, as Escape over the overlay does.
    void cancel();

    // Calls the callback once, then detaches the selector and stops checking.
    void regionSelectorSelectionComplete(vnRegionSelector& selector, const qcp::platform::Rect& selection) override;

private:
    void monitorCheck();

    std::shared_ptr<vnRegionSelector> fSelector;
    const RegionCallback fHandler;
    void* const fUserData;
    const unsigned int fDisplayID;
    std::unique_ptr<MainQueueTimer> fMonitorStatusTimer;

    // The choices being monitored, so that one can be ended from outside.
    static std::vector<RegionSelectorDelegate*> sOpen;
};

} // namespace OBRN
