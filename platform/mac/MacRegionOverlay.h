#pragma once
#include <memory>
#include <string>

#include "MainQueueLink.h"
#include "SelectionUI.h"

namespace qcp::platform::mac {

// The region selector overlay in AppKit: a borderless, see-through panel
// over the whole screen, above every window, that takes the keyboard and the
// mouse while it is up. Its view draws, at the state's alpha, white at 10 %
// inside the selection and black at 70 % outside, a dotted frame, the eight
// handles (the resource folder's knob pictures, plain squares without them)
// and the information box, and shows the cursor the state names. The view's
// coordinates are the seam's own (points from the screen's bottom-left,
// y up). Lives on the main queue; everything is posted to AppKit's main
// thread, and input comes back through a MainQueueLink.
class MacRegionOverlay final : public RegionOverlayView {
public:
    MacRegionOverlay(RegionOverlayInput& input, std::string resourceFolder);
    ~MacRegionOverlay() override;
    MacRegionOverlay(const MacRegionOverlay&) = delete;
    MacRegionOverlay& operator=(const MacRegionOverlay&) = delete;

    void Show(const ScreenInfo& screen, const RegionOverlayState& state) override;
    void Update(const RegionOverlayState& state, const Rect& area) override;

private:
    std::shared_ptr<MainQueueLink<RegionOverlayInput>> fLink;
    void* fController; // a retained QCPOverlayController, used on AppKit's main thread only
};

} // namespace qcp::platform::mac
