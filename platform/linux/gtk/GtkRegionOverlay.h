#pragma once
#include <memory>
#include <string>

#include "GtkLoop.h"
#include "MainQueueLink.h"
#include "SelectionUI.h"

namespace qcp::platform::gtk {

class OverlayPanel;

// The region selector overlay's view in GTK 3. It lives on the main queue and
// never waits for GTK: what it is told is copied to GTK's thread, where the
// panel shows it, and the user's input comes back queued to the main queue
// while this view exists. `resourceFolder` holds the handle and cursor
// images.
class GtkRegionOverlay final : public RegionOverlayView {
public:
    GtkRegionOverlay(GtkLoop& loop, RegionOverlayInput& input, std::string resourceFolder);
    // Input not yet delivered is dropped; the panel closes on GTK's thread
    // later, without this waiting for it.
    ~GtkRegionOverlay() override;

    void Show(const ScreenInfo& screen, const RegionOverlayState& state) override;
    void Update(const RegionOverlayState& state, const Rect& area) override;

private:
    GtkLoop::Use fUse;
    std::shared_ptr<MainQueueLink<RegionOverlayInput>> fLink;
    std::shared_ptr<OverlayPanel> fPanel; // touched on GTK's thread only
};

} // namespace qcp::platform::gtk
