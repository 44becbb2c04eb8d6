#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "Geometry.h"
#include "Screens.h"

// The selection user interface as the core drives it: the selection window
// (a window controller loaded from one of two nibs on macOS) and the region
// selector overlay (a borderless panel over one screen). The core keeps all
// their logic and state; a view only shows the state it is given and passes
// the user's input back. The sim platform's views are a scripted user for
// tests; GTK and AppKit draw real ones.
//
// Threads: everything here runs on the main queue (zQueue::Main()), the
// views' calls into the core included. A view never calls back from inside
// a call the core made to it.
namespace qcp::platform {

// The widgets of the selection window, named after its outlets. The window
// mode shows the first group, the monitor mode the second.
enum class SelectionWidget {
    ProcessList, WindowList, RefreshButton, WindowOK, WindowCancel,
    MonitorList, SelectionList, RegionButton, MonitorOK, MonitorCancel,
};

struct SelectionButton {
    std::string text;
    bool enabled = true;
};

struct SelectionList {
    std::vector<std::string> items;
    int selected = -1; // none
    bool enabled = true;
};

// Everything the selection window shows. Texts arrive localised.
struct SelectionWindowState {
    bool windowMode = true; // false: the monitor mode
    std::string title;
    // Window mode.
    std::string processText, windowText;
    SelectionList processList, windowList;
    SelectionButton refreshButton, windowOK, windowCancel;
    // Monitor mode.
    std::string monitorText, selectionText;
    SelectionList monitorList, selectionList;
    SelectionButton regionButton, monitorOK, monitorCancel;

    // The list or button a widget names; null when it names the other kind.
    SelectionList* list(SelectionWidget widget) {
        return const_cast<SelectionList*>(static_cast<const SelectionWindowState*>(this)->list(widget));
    }
    const SelectionList* list(SelectionWidget widget) const {
        switch (widget) {
        case SelectionWidget::ProcessList: return &processList;
        case SelectionWidget::WindowList: return &windowList;
        case SelectionWidget::MonitorList: return &monitorList;
        case SelectionWidget::SelectionList: return &selectionList;
        default: return nullptr;
        }
    }
    const SelectionButton* button(SelectionWidget widget) const {
        switch (widget) {
        case SelectionWidget::RefreshButton: return &refreshButton;
        case SelectionWidget::WindowOK: return &windowOK;
        case SelectionWidget::WindowCancel: return &windowCancel;
        case SelectionWidget::RegionButton: return &regionButton;
        case SelectionWidget::MonitorOK: return &monitorOK;
        case SelectionWidget::MonitorCancel: return &monitorCancel;
        default: return nullptr;
        }
    }
};

// What the user does in the selection window; the core's controller.
class SelectionWindowInput {
public:
    virtual ~SelectionWindowInput() = default;
    // An entry of a list was chosen (the view has shown it selected).
    virtual void Chose(SelectionWidget list, int index) = 0;
    // An enabled button was pressed.
    virtual void Pressed(SelectionWidget button) = 0;
    // The user closed the window by its frame (the core answers as cancel).
    virtual void ClosedByUser() = 0;
};

// The selection window. Made by the platform for one controller; destroying
// it closes the window. Main queue only.
class SelectionWindowView {
public:
    virtual ~SelectionWindowView() = default;
    // Centres the window and brings it to the front as the key window.
    virtual void Show(const SelectionWindowState& state) = 0;
    virtual void Update(const SelectionWindowState& state) = 0;
    // An alert attached to the window, not waited for.
    virtual void ShowAlertSheet(const std::string& message, const std::string& informativeText,
                                const std::string& button) = 0;
};

// The pointer's looks over the overlay.
enum class OverlayCursor { Arrow, OpenHand, ClosedHand, ResizeLeftRight, ResizeUpDown, ResizeDiagonalLR, ResizeDiagonalRL };

// Everything the region selector overlay shows, in the view's coordinates:
// points from the screen's bottom-left corner, y up.
struct RegionOverlayState {
    Rect selection;      // shown nearly clear, the rest dimmed
    int selectedCorner = 0; // the handle under the pointer (drawn pressed), 1-8, or 0
    float alpha = 0;     // of the whole panel, 0 to 1
    std::string message; // the information box's text
    Rect infoBox;        // where the box is
    OverlayCursor cursor = OverlayCursor::Arrow;
};

// A handle's rectangle, the same for drawing it and for finding it under the
// pointer: 14 x 14 points centred on its point of `selection` (view
// coordinates). Handles: 1 left middle, 2 right middle, 3 top middle,
// 4 bottom middle, 5 top-left, 6 top-right, 7 bottom-left, 8 bottom-right;
// any other number gives the rectangle centred on (0, 0).
inline Rect OverlayHandleRect(const Rect& selection, int handle) {
    constexpr double kSide = 14;
    const double left = selection.x, right = selection.MaxX(), midX = selection.x + selection.width / 2;
    const double bottom = selection.y, top = selection.MaxY(), midY = selection.y + selection.height / 2;
    Point at;
    switch (handle) {
    case 1: at = {left, midY}; break;
    case 2: at = {right, midY}; break;
    case 3: at = {midX, top}; break;
    case 4: at = {midX, bottom}; break;
    case 5: at = {left, top}; break;
    case 6: at = {right, top}; break;
    case 7: at = {left, bottom}; break;
    case 8: at = {right, bottom}; break;
    default: break;
    }
    return {at.x - kSide / 2, at.y - kSide / 2, kSide, kSide};
}

// What the user does over the overlay, in the view's coordinates.
class RegionOverlayInput {
public:
    virtual ~RegionOverlayInput() = default;
    virtual void MouseMoved(Point at) = 0;
    virtual void MouseDown(Point at) = 0;
    virtual void MouseDragged(Point at) = 0;
    virtual void MouseUp(Point at) = 0;
    // A key's character: 13 Return, 3 Enter; others are ignored.
    virtual void KeyDown(uint32_t character) = 0;
    // Escape.
    virtual void CancelOperation() = 0;
};

// The overlay's panel over one screen, key while shown. Made by the
// platform for one selector; destroying it orders the panel out.
class RegionOverlayView {
public:
    virtual ~RegionOverlayView() = default;
    // Covers `screen` (its frame) and shows `state`.
    virtual void Show(const ScreenInfo& screen, const RegionOverlayState& state) = 0;
    // Redraws `area` (view coordinates) of the new state; the alpha and the
    // cursor apply at once.
    virtual void Update(const RegionOverlayState& state, const Rect& area) = 0;
};

} // namespace qcp::platform
