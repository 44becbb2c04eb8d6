#pragma once
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "SelectionUI.h"

namespace qcp::platform::sim {

// The user of the simulated desktop: sees the selection window and the
// region overlay the core shows, and acts on them as a test scripts it.
//
// The platform makes one view per window or overlay the core opens; the
// views report here on the main queue. A test reads what is shown from any
// thread, and each action runs on the main queue (zQueue::Main().Sync), as
// the user's input does, and returns once the core has handled it. At most
// one selection window and one overlay are looked at: the latest opened.
class SimUser {
public:
    // ---- What is on the screen.
    std::optional<SelectionWindowState> Window() const;
    // Alert sheets shown on selection windows, oldest first: message and informative text.
    std::vector<std::pair<std::string, std::string>> Sheets() const;
    std::optional<RegionOverlayState> Overlay() const;
    std::optional<ScreenInfo> OverlayScreen() const;
    // Windows and overlays open now (made and not yet destroyed).
    int OpenWindows() const;
    int OpenOverlays() const;

    // ---- Acting on the selection window. False when no window is open, the
    // list has no such entry, or the button is disabled.
    bool Choose(SelectionWidget list, int index);
    bool Press(SelectionWidget button);
    bool CloseWindow();

    // ---- Acting on the overlay, in its view's coordinates. False when no
    // overlay is shown.
    bool MoveMouse(Point at);
    // Press at `from`, drag through `steps` even steps to `to`, release.
    bool Drag(Point from, Point to, int steps = 4);
    bool Key(uint32_t character);
    bool Escape();

    // ---- The platform's side: views for the core (main queue).
    std::unique_ptr<SelectionWindowView> MakeWindowView(SelectionWindowInput& input);
    std::unique_ptr<RegionOverlayView> MakeOverlayView(RegionOverlayInput& input);

    // ---- The views' side (main queue).
    struct WindowEntry;
    struct OverlayEntry;
    void Opened(WindowEntry* entry);
    void Closed(WindowEntry* entry);
    void Opened(OverlayEntry* entry);
    void Closed(OverlayEntry* entry);
    void Showed(WindowEntry* entry, const SelectionWindowState& state);
    void Sheet(const std::string& message, const std::string& informativeText);
    void Showed(OverlayEntry* entry, const ScreenInfo* screen, const RegionOverlayState& state);

private:
    // Runs `act` on the main queue with the latest window's (or overlay's)
    // input, if one is open and shown; false otherwise.
    template <class Act>
    bool OnWindow(Act act);
    template <class Act>
    bool OnOverlay(Act act);

    mutable std::mutex fMutex;
    std::vector<WindowEntry*> fWindows;
    std::vector<OverlayEntry*> fOverlays;
    std::vector<std::pair<std::string, std::string>> fSheets;
};

struct SimUser::WindowEntry {
    SelectionWindowInput* input = nullptr;
    std::optional<SelectionWindowState> state; // once shown
};

struct SimUser::OverlayEntry {
    RegionOverlayInput* input = nullptr;
    std::optional<ScreenInfo> screen;
    std::optional<RegionOverlayState> state; // once shown
};

} // namespace qcp::platform::sim
