#include "SimUser.h"

#include <algorithm>

#include "zQueue.h"

namespace qcp::platform::sim {
namespace {

class WindowView final : public SelectionWindowView {
public:
    WindowView(SimUser& user, SelectionWindowInput& input) : fUser(user) {
        fEntry.input = &input;
        fUser.Opened(&fEntry);
    }
    ~WindowView() override { fUser.Closed(&fEntry); }
    void Show(const SelectionWindowState& state) override { fUser.Showed(&fEntry, state); }
    void Update(const SelectionWindowState& state) override { fUser.Showed(&fEntry, state); }
    void ShowAlertSheet(const std::string& message, const std::string& informativeText, const std::string&) override {
        fUser.Sheet(message, informativeText);
    }

private:
    SimUser& fUser;
    SimUser::WindowEntry fEntry;
};

class OverlayView final : public RegionOverlayView {
public:
    OverlayView(SimUser& user, RegionOverlayInput& input) : fUser(user) {
        fEntry.input = &input;
        fUser.Opened(&fEntry);
    }
    ~OverlayView() override { fUser.Closed(&fEntry); }
    void Show(const ScreenInfo& screen, const RegionOverlayState& state) override {
        fUser.Showed(&fEntry, &screen, state);
    }
    void Update(const RegionOverlayState& state, const Rect&) override { fUser.Showed(&fEntry, nullptr, state); }

private:
    SimUser& fUser;
    SimUser::OverlayEntry fEntry;
};

} // namespace

std::unique_ptr<SelectionWindowView> SimUser::MakeWindowView(SelectionWindowInput& input) {
    return std::make_unique<WindowView>(*this, input);
}

std::unique_ptr<RegionOverlayView> SimUser::MakeOverlayView(RegionOverlayInput& input) {
    return std::make_unique<OverlayView>(*this, input);
}

std::optional<SelectionWindowState> SimUser::Window() const {
    std::lock_guard lock(fMutex);
    return fWindows.empty() ? std::nullopt : fWindows.back()->state;
}

std::vector<std::pair<std::string, std::string>> SimUser::Sheets() const {
    std::lock_guard lock(fMutex);
    return fSheets;
}

std::optional<RegionOverlayState> SimUser::Overlay() const {
    std::lock_guard lock(fMutex);
    return fOverlays.empty() ? std::nullopt : fOverlays.back()->state;
}

std::optional<ScreenInfo> SimUser::OverlayScreen() const {
    std::lock_guard lock(fMutex);
    return fOverlays.empty() ? std::nullopt : fOverlays.back()->screen;
}

int SimUser::OpenWindows() const {
    std::lock_guard lock(fMutex);
    return int(fWindows.size());
}

int SimUser::OpenOverlays() const {
    std::lock_guard lock(fMutex);
    return int(fOverlays.size());
}

template <class Act>
bool SimUser::OnWindow(Act act) {
    bool acted = false;
    zQueue::Main().Sync([&] {
        SelectionWindowInput* input = nullptr;
        std::optional<SelectionWindowState> state;
        {
            std::lock_guard lock(fMutex);
            if (fWindows.empty() || !fWindows.back()->state) return;
            input = fWindows.back()->input;
            state = fWindows.back()->state;
        }
        // Outside the lock: the core may close the window (and its view) in the call.
        acted = act(*input, *state);
    });
    return acted;
}

template <class Act>
bool SimUser::OnOverlay(Act act) {
    bool acted = false;
    zQueue::Main().Sync([&] {
        RegionOverlayInput* input = nullptr;
        {
            std::lock_guard lock(fMutex);
            if (fOverlays.empty() || !fOverlays.back()->state) return;
            input = fOverlays.back()->input;
        }
        act(*input);
        acted = true;
    });
    return acted;
}

bool SimUser::Choose(SelectionWidget list, int index) {
    return OnWindow([&](SelectionWindowInput& input, const SelectionWindowState& state) {
        const SelectionList* shown = state.list(list);
        if (!shown || !shown->enabled || index < 0 || index >= int(shown->items.size())) return false;
        {
            // The view shows the entry chosen before the core hears of it.
            std::lock_guard lock(fMutex);
            fWindows.back()->state->list(list)->selected = index;
        }
        input.Chose(list, index);
        return true;
    });
}

bool SimUser::Press(SelectionWidget button) {
    return OnWindow([&](SelectionWindowInput& input, const SelectionWindowState& state) {
        const SelectionButton* shown = state.button(button);
        if (!shown || !shown->enabled) return false;
        input.Pressed(button);
        return true;
    });
}

bool SimUser::CloseWindow() {
    return OnWindow([](SelectionWindowInput& input, const SelectionWindowState&) {
        input.ClosedByUser();
        return true;
    });
}

bool SimUser::MoveMouse(Point at) {
    return OnOverlay([&](RegionOverlayInput& input) { input.MouseMoved(at); });
}

bool SimUser::Drag(Point from, Point to, int steps) {
    return OnOverlay([&](RegionOverlayInput& input) {
        input.MouseDown(from);
        for (int i = 1; i <= steps; ++i)
            input.MouseDragged({from.x + (to.x - from.x) * i / steps, from.y + (to.y - from.y) * i / steps});
        input.MouseUp(to);
    });
}

bool SimUser::Key(uint32_t character) {
    return OnOverlay([&](RegionOverlayInput& input) { input.KeyDown(character); });
}

bool SimUser::Escape() {
    return OnOverlay([](RegionOverlayInput& input) { input.CancelOperation(); });
}

void SimUser::Opened(WindowEntry* entry) {
    std::lock_guard lock(fMutex);
    fWindows.push_back(entry);
}

void SimUser::Closed(WindowEntry* entry) {
    std::lock_guard lock(fMutex);
    std::erase(fWindows, entry);
}

void SimUser::Opened(OverlayEntry* entry) {
    std::lock_guard lock(fMutex);
    fOverlays.push_back(entry);
}

void SimUser::Closed(OverlayEntry* entry) {
    std::lock_guard lock(fMutex);
    std::erase(fOverlays, entry);
}

void SimUser::Showed(WindowEntry* entry, const SelectionWindowState& state) {
    std::lock_guard lock(fMutex);
    entry->state = state;
}

void SimUser::Sheet(const std::string& message, const std::string& informativeText) {
    std::lock_guard lock(fMutex);
    fSheets.emplace_back(message, informativeText);
}

void SimUser::Showed(OverlayEntry* entry, const ScreenInfo* screen, const RegionOverlayState& state) {
    std::lock_guard lock(fMutex);
    if (screen) entry->screen = *screen;
    entry->state = state;
}

} // namespace qcp::platform::sim
