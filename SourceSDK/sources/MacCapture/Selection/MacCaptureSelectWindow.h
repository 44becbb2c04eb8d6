#pragma once
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "MacCaptureSelectionDialog.h"
#include "RegionChooser.h"
#include "SelectionUI.h"
#include "System.h"
#include "zRect.h"

namespace MC {

// The capture selection window's controller. Window mode (and game mode, the
// same window under another flag): the user picks an application and one of
// its windows. Monitor mode: a display, and its full screen or a region drawn
// with the region chooser. It keeps everything the window shows, hands it to
// the platform's view, and answers through the callback at most once.
//
// Main queue only: made, shown, acted on and destroyed there.
class MacCaptureSelectWindow final : public qcp::platform::SelectionWindowInput {
public:
    enum class Mode { Window, Game, Monitor };
    // OBRN::ChooseRegion and OBRN::CancelRegionChoice in the plug-in; tests
    // pass their own chooser.
    using RegionChooser = decltype(&OBRN::ChooseRegion);
    using RegionCanceller = decltype(&OBRN::CancelRegionChoice);
    using Callback = MacCaptureSelectionDialog::Callback;
    using ClosedHook = std::function<void(MacCaptureSelectWindow& closed)>;

    MacCaptureSelectWindow(Mode mode, RegionChooser chooser, RegionCanceller cancel = &OBRN::CancelRegionChoice);
    ~MacCaptureSelectWindow() override;
    MacCaptureSelectWindow(const MacCaptureSelectWindow&) = delete;
    MacCaptureSelectWindow& operator=(const MacCaptureSelectWindow&) = delete;

    // Set before show().
    void setSelectedWindow(uint32_t windowID) { fSelectedWindow = windowID; }
    void setSelectedMonitor(int index) { fSelectedMonitor = index; }
    void setCaptureMode(int mode) { fCaptureMode = mode; }
    void setHandler(Callback handler, void* userInfo);
    // Run once when the window closes, as the controller's last act in that
    // call. It must not destroy the controller there and then: the frames
    // below it are still the controller's.
    void setClosedHook(ClosedHook hook) { fClosedHook = std::move(hook); }

    // The region memory: one region per display index, read and written for
    // the current display. A display never given one has the empty region.
    zRect selectedRegion() const;
    void setSelectedRegion(const zRect& region);
    bool hasRegionSelected() const { return selectedRegion().HasArea(); }

    // Makes the platform's window, fills it and brings it forward. False
    // where the platform has no user interface: nothing is shown, and no
    // answer will come. Once.
    bool show();
    // Answers cancel (1, 0, null) unless already answered, and closes.
    void cancel();
    // An alert attached to the window, not waited for.
    void showAlertSheet(const qcp::platform::Alert& alert);
    // Closes without answering: empties the region memory, closes the
    // window, runs the closed hook. Later input is ignored.
    void close();

    void Chose(qcp::platform::SelectionWidget list, int index) override;
    void Pressed(qcp::platform::SelectionWidget button) override;
    void ClosedByUser() override { cancel(); }

private:
    // An application as listed: the windows the user picks from are the ones
    // shown, even if the inventory is refreshed meanwhile.
    struct ListedApplication {
        std::vector<std::pair<int32_t, std::string>> windows; // id, name
    };
    // The chooser's user data. It outlives the controller when the window
    // closes while the overlay is up; the callback frees it.
    struct RegionChoice {
        MacCaptureSelectWindow* controller;
    };
    static void regionSelectionCallback(bool accepted, int x, int y, int width, int height, void* userData);
    static std::string text(const char* key);

    bool windowMode() const { return fMode != Mode::Monitor; }
    bool isEnabled(qcp::platform::SelectionWidget widget) const;
    void load();
    void update();
    void answer(MacCaptureSelectionDialog::eUserResponse response, int id, const zRect* region);
    void setWidgetsEnable(bool enabled);

    // Lists (MacCaptureSelectWindowLists.cpp).
    void refresh();
    void refreshMonitors();
    void refreshApplications();
    void selectProcess();
    void windowOK();

    // Regions (MacCaptureSelectWindowRegion.cpp).
    void selectionTypeChanged(int entry);
    void selectRegion();
    void regionChosen(bool accepted, int x, int y, int width, int height);
    void monitorOK();
    // Closes an overlay still up for this window, answering it as cancelled.
    void endRegionChoice();

    const Mode fMode;
    const RegionChooser fChooser;
    const RegionCanceller fCancelChoice;
    std::unique_ptr<qcp::platform::SelectionWindowView> fView;
    qcp::platform::SelectionWindowState fState;
    std::vector<ListedApplication> fApplications;
    uint32_t fSelectedWindow = 0;
    int fSelectedMonitor = -1;
    int fCaptureMode = 0; // the whole display
    std::map<int, zRect> fSelRegions;
    RegionChoice* fChoice = nullptr; // while the overlay is up
    Callback fHandler = nullptr;
    void* fUserInfo = nullptr;
    ClosedHook fClosedHook;
    bool fAnswered = false;
    bool fClosed = false;
};

} // namespace MC
