#include "vnRegionSelector.h"

#include <algorithm>

#include "MainQueueTimer.h"
#include "Platform.h"
#include "RegionSelectorGeometry.h"
#include "zMessages.h"

using qcp::platform::OverlayCursor;
using qcp::platform::Point;
using qcp::platform::Rect;
namespace geometry = RegionSelectorGeometry;

namespace {
// Thirty steps of a sixtieth of a second: half a second each way.
constexpr int64_t kFadeStepMicros = 16'667;
constexpr double kFadeStep = 1.0 / 30;
constexpr uint32_t kReturnCharacter = 13;
constexpr uint32_t kEnterCharacter = 3;
} // namespace

std::shared_ptr<vnRegionSelector> vnRegionSelector::Create(std::string message) {
    return std::shared_ptr<vnRegionSelector>(new vnRegionSelector(std::move(message)));
}

vnRegionSelector::vnRegionSelector(std::string message)
    : fInfoText(message), fMessage(std::move(message)), fInfoBox{0, 0, 330, 60} {}

vnRegionSelector::~vnRegionSelector() = default;

Rect vnRegionSelector::selection() const {
    Rect result = fSelection;
    if (fScreen) result.x += fScreen->frame.x;
    zTrace("selection - {{{{{}, {}}}, {{{}, {}}}}}\n", result.x, result.y, result.width, result.height);
    return result;
}

bool vnRegionSelector::show() {
    qcp::platform::Platform* platform = qcp::platform::Current();
    if (!platform || !fScreen) return false;
    fView.reset();
    fPress.reset();
    fBounds = {0, 0, fScreen->frame.width, fScreen->frame.height};
    fAlpha = 0;
    setViewSelection({fProposed.x - fScreen->frame.x, fProposed.y, fProposed.width, fProposed.height});
    fView = platform->createRegionOverlay(*this);
    if (!fView) return false;
    fView->Show(*fScreen, state());
    fAnimation =
        std::make_unique<MainQueueTimer>(kFadeStepMicros, [self = shared_from_this()] { self->runAnimationStep(); });
    return true;
}

void vnRegionSelector::hide() {
    if (!fView) return;
    fAlpha = 1;
    update({});
    fAnimation = std::make_unique<MainQueueTimer>(kFadeStepMicros,
                                                  [self = shared_from_this()] { self->runAnimationOrderOutStep(); });
}

void vnRegionSelector::runAnimationStep() {
    fAlpha = float(fAlpha + kFadeStep);
    update({});
    if (fAlpha >= 1) fAnimation.reset();
}

void vnRegionSelector::runAnimationOrderOutStep() {
    fAlpha = float(fAlpha - kFadeStep);
    if (fAlpha > 0) {
        update({});
        return;
    }
    fView.reset();
    fAnimation.reset();
}

void vnRegionSelector::editingDone(bool cancelled) {
    fCancelled = cancelled;
    hide();
    // Last: the delegate may let go of this selector.
    if (fDelegate) fDelegate->regionSelectorSelectionComplete(*this, cancelled ? Rect{} : selection());
}

void vnRegionSelector::MouseMoved(Point at) {
    const OverlayCursor cursor = geometry::CursorForPoint(fSelection, at);
    const bool cursorChanged = cursor != fCursor;
    fCursor = cursor;
    if (!setSelectedCorner(geometry::EdgeForPoint(fSelection, at)) && cursorChanged) update({});
}

void vnRegionSelector::MouseDown(Point at) {
    const int handle = geometry::EdgeForPoint(fSelection, at);
    // A new rectangle cannot be drawn from scratch, only this one reshaped.
    if (handle == 0 && !fSelection.Contains(at)) return;
    fPress = Press{at, fSelection, handle};
    if (handle == 0) setCursor(OverlayCursor::ClosedHand);
}

void vnRegionSelector::MouseDragged(Point at) { dragTo(at); }

void vnRegionSelector::MouseUp(Point at) {
    if (!fPress) return;
    dragTo(at);
    const bool moving = fPress->handle == 0;
    fPress.reset();
    if (moving) setCursor(OverlayCursor::OpenHand);
}

void vnRegionSelector::KeyDown(uint32_t character) {
    if (character == kReturnCharacter || character == kEnterCharacter) editingDone(false);
}

void vnRegionSelector::CancelOperation() { editingDone(true); }

void vnRegionSelector::dragTo(Point at) {
    if (!fPress) return;
    const float dx = float(at.x - fPress->at.x);
    const float dy = float(at.y - fPress->at.y);
    setViewSelection(geometry::Dragged(fPress->start, fPress->handle, dx, dy, fBounds));
}

void vnRegionSelector::setViewSelection(const Rect& selection) {
    if (selection == fSelection) return;
    const Rect area = geometry::SelectionRedrawArea(fSelection, selection);
    fSelection = selection;
    fInfoBox = geometry::InfoBoxFor(selection);
    update(area);
}

bool vnRegionSelector::setSelectedCorner(int corner) {
    if (corner == fSelectedCorner) return false;
    const int old = fSelectedCorner;
    fSelectedCorner = corner;
    update(geometry::RectForCorner(fSelection, old));
    update(geometry::RectForCorner(fSelection, corner));
    return true;
}

void vnRegionSelector::setCursor(OverlayCursor cursor) {
    if (cursor == fCursor) return;
    fCursor = cursor;
    update({});
}

qcp::platform::RegionOverlayState vnRegionSelector::state() const {
    qcp::platform::RegionOverlayState shown;
    shown.selection = fSelection;
    shown.selectedCorner = fSelectedCorner;
    shown.alpha = std::clamp(fAlpha, 0.0f, 1.0f);
    shown.message = fInfoText;
    shown.infoBox = fInfoBox;
    shown.cursor = fCursor;
    return shown;
}

void vnRegionSelector::update(const Rect& area) {
    if (fView) fView->Update(state(), area);
}
