#pragma once
#include <memory>
#include <optional>
#include <string>

#include "SelectionUI.h"

class MainQueueTimer;
class vnRegionSelector;

// Told once when the user ends editing: the selection in screen coordinates,
// or the zero rectangle when cancelled.
class vnRegionSelectorDelegate {
public:
    virtual void regionSelectorSelectionComplete(vnRegionSelector& selector, const qcp::platform::Rect& selection) = 0;

protected:
    ~vnRegionSelectorDelegate() = default;
};

// The region selector overlay: a panel over one screen on which the user
// moves and resizes a rectangle by its eight handles, then accepts it with
// Return or Enter or cancels with Escape. This is its logic and state; the
// platform's RegionOverlayView shows it and passes the user's input here.
//
// Screen coordinates are global with y up; the view's start at the screen's
// left edge (x minus the screen frame's x) and keep y as it is, which the
// region chooser's conversions rely on.
//
// Held by a shared_ptr (Create): its fade timers keep it alive while they
// run, so a selector let go while it fades out still finishes fading. The
// delegate is not owned. Main queue only.
class vnRegionSelector final : public qcp::platform::RegionOverlayInput,
                               public std::enable_shared_from_this<vnRegionSelector> {
public:
    // `message` is the information box's text.
    static std::shared_ptr<vnRegionSelector> Create(std::string message);
    ~vnRegionSelector() override;
    vnRegionSelector(const vnRegionSelector&) = delete;
    vnRegionSelector& operator=(const vnRegionSelector&) = delete;

    // The instruction text; setting it later leaves the box's text as it is.
    const std::string& getSelectScreenRegionMessage() const { return fMessage; }
    void setSelectScreenRegionMessage(std::string message) { fMessage = std::move(message); }
    vnRegionSelectorDelegate* delegate() const { return fDelegate; }
    void setDelegate(vnRegionSelectorDelegate* delegate) { fDelegate = delegate; }
    const std::optional<qcp::platform::ScreenInfo>& screen() const { return fScreen; }
    void setScreen(std::optional<qcp::platform::ScreenInfo> screen) { fScreen = std::move(screen); }
    bool getSelectionWasCancelled() const { return fCancelled; }
    void setSelectionWasCancelled(bool cancelled) { fCancelled = cancelled; }

    // In screen coordinates. The getter reads what the user has made of the
    // selection; the setter proposes the one the next show starts from.
    qcp::platform::Rect selection() const;
    void setSelection(const qcp::platform::Rect& selection) { fProposed = selection; }

    // Covers the screen with a new panel, replacing one already up, and fades
    // it in over half a second. False when there is no screen or the platform
    // has no user interface: nothing is shown.
    bool show();
    // Fades the panel out over half a second, then closes it.
    void hide();
    // Ends editing: keeps the flag, fades out and tells the delegate.
    void editingDone(bool cancelled);

    // The user's input over the panel (view coordinates).
    void MouseMoved(qcp::platform::Point at) override;
    void MouseDown(qcp::platform::Point at) override;
    void MouseDragged(qcp::platform::Point at) override;
    void MouseUp(qcp::platform::Point at) override;
    void KeyDown(uint32_t character) override;
    void CancelOperation() override;

private:
    explicit vnRegionSelector(std::string message);

    struct Press {
        qcp::platform::Point at;
        qcp::platform::Rect start;
        int handle = 0; // 0: moving the whole selection
    };

    void runAnimationStep();
    void runAnimationOrderOutStep();
    void setViewSelection(const qcp::platform::Rect& selection);
    // True when it changed (and the two handles were redrawn).
    bool setSelectedCorner(int corner);
    void setCursor(qcp::platform::OverlayCursor cursor);
    void dragTo(qcp::platform::Point at);
    qcp::platform::RegionOverlayState state() const;
    // Hands the view the current state with `area` to redraw.
    void update(const qcp::platform::Rect& area);

    const std::string fInfoText;
    std::string fMessage;
    vnRegionSelectorDelegate* fDelegate = nullptr;
    std::optional<qcp::platform::ScreenInfo> fScreen;
    qcp::platform::Rect fProposed;
    bool fCancelled = false;

    // What the view shows, in its coordinates.
    qcp::platform::Rect fBounds;
    qcp::platform::Rect fSelection;
    qcp::platform::Rect fInfoBox;
    int fSelectedCorner = 0;
    qcp::platform::OverlayCursor fCursor = qcp::platform::OverlayCursor::Arrow;
    float fAlpha = 0;
    std::optional<Press> fPress;

    std::unique_ptr<qcp::platform::RegionOverlayView> fView; // while the panel is up
    std::unique_ptr<MainQueueTimer> fAnimation;              // the fade running, if any
};
