#include "GtkRegionOverlay.h"

#include "OverlayPanel.h"

namespace qcp::platform::gtk {

GtkRegionOverlay::GtkRegionOverlay(GtkLoop& loop, RegionOverlayInput& input, std::string resourceFolder)
    : fUse(loop),
      fLink(std::make_shared<MainQueueLink<RegionOverlayInput>>(input)),
      fPanel(std::make_shared<OverlayPanel>(fLink, std::move(resourceFolder))) {}

GtkRegionOverlay::~GtkRegionOverlay() {
    fLink->Cut();
    fUse.Post([panel = std::move(fPanel)] { panel->Close(); });
}

void GtkRegionOverlay::Show(const ScreenInfo& screen, const RegionOverlayState& state) {
    fUse.Post([panel = fPanel, screen, state] { panel->Show(screen, state); });
}

void GtkRegionOverlay::Update(const RegionOverlayState& state, const Rect& area) {
    fUse.Post([panel = fPanel, state, area] { panel->Update(state, area); });
}

} // namespace qcp::platform::gtk
