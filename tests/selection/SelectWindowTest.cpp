// The selection window's controller on the simulated desktop, with a
// recording region chooser in place of the overlay.
#include <array>
#include <functional>
#include <memory>

#include "MacCaptureSourceSDKInfo.h"
#include "SelectionFixture.h"
#include "Selection/MacCaptureSelectWindow.h"
#include "zQueue.h"

using MC::MacCaptureSelectWindow;
using Mode = MacCaptureSelectWindow::Mode;
using W = qcp::platform::SelectionWidget;

namespace {

// The chooser's calls (main queue; read after a Sync). It shows an overlay
// (answers true) unless told to refuse.
struct ChooserCall {
    std::array<int, 5> shown; // display id, x, y, width, height
    OBRN::RegionCallback callback;
    void* userData;
};
std::vector<ChooserCall> gCalls;
bool gRefuse = false;

bool RecordingChooser(int displayID, OBRN::RegionCallback callback, void* userData, int x, int y, int width,
                      int height) {
    gCalls.push_back({{displayID, x, y, width, height}, callback, userData});
    return !gRefuse;
}

class SelectWindowTest : public SelectionTest {
protected:
    void SetUp() override {
        SelectionTest::SetUp();
        gCalls.clear();
        gRefuse = false;
    }
    void TearDown() override {
        OnMain([&] { fWindow.reset(); });
        SelectionTest::TearDown();
    }
    static void OnMain(const std::function<void()>& work) { zQueue::Main().Sync(work); }

    // Shows a controller of `mode` as the handle would, after `prepare`.
    void Open(Mode mode, const std::function<void(MacCaptureSelectWindow&)>& prepare) {
        OnMain([&] {
            fWindow = std::make_unique<MacCaptureSelectWindow>(mode, &RecordingChooser);
            fWindow->setHandler(&Heard, &fAnswers);
            prepare(*fWindow);
            ASSERT_TRUE(fWindow->show());
        });
    }
    void OpenMonitor(int index, int mode, std::optional<zRect> region = {}) {
        Open(Mode::Monitor, [&](MacCaptureSelectWindow& window) {
            window.setSelectedMonitor(index);
            if (region) window.setSelectedRegion(*region);
            window.setCaptureMode(mode);
        });
    }
    // The chooser's answer to its last call, as the overlay gives it.
    static void Finish(bool accepted, int x = 0, int y = 0, int width = 0, int height = 0) {
        const ChooserCall call = gCalls.back();
        OnMain([&] { call.callback(accepted, x, y, width, height, call.userData); });
    }
    std::vector<bool> MonitorWidgetsEnabled() {
        const auto state = user().Window().value();
        return {state.monitorList.enabled, state.selectionList.enabled, state.regionButton.enabled,
                state.monitorOK.enabled, state.monitorCancel.enabled};
    }

    std::unique_ptr<MacCaptureSelectWindow> fWindow;
    Answers fAnswers;
};

const zRect kRegion{10, 20, 309, 219}; // 300 x 200 at (10, 20)

} // namespace

TEST_F(SelectWindowTest, WindowAndGameModesListApplicationsAndPreselectTheWindow) {
    for (Mode mode : {Mode::Window, Mode::Game}) {
        fAnswers.clear();
        Open(mode, [&](MacCaptureSelectWindow& window) { window.setSelectedWindow(fDraft); });
        auto state = user().Window().value();
        EXPECT_TRUE(state.windowMode);
        EXPECT_EQ(state.title, "tr:obr_capture_win_window_title");
        EXPECT_EQ(state.processText + state.windowText + state.refreshButton.text,
                  "tr:obr_capture_process_titletr:obr_capture_window_text_titletr:obr_capture_refresh_title");
        EXPECT_EQ(state.windowOK.text + state.windowCancel.text, "tr:obr_capture_oktr:obr_capture_cancel");
        EXPECT_EQ(state.processList.items, (std::vector<std::string>{"Editor (500)", "Browser (610)"}));
        EXPECT_EQ(state.processList.selected, 0);
        ASSERT_EQ(state.windowList.items.size(), 2u);
        EXPECT_EQ(state.windowList.items[size_t(state.windowList.selected)], "Draft");

        // Another application: its first window stands chosen.
        ASSERT_TRUE(user().Choose(W::ProcessList, 1));
        state = user().Window().value();
        EXPECT_EQ(state.windowList.items, std::vector<std::string>{"Home"});
        EXPECT_EQ(state.windowList.selected, 0);
        ASSERT_TRUE(user().Press(W::WindowOK));
        EXPECT_EQ(fAnswers, (Answers{{0, int(fHome), {}}}));
        EXPECT_EQ(user().OpenWindows(), 0);
    }
}

TEST_F(SelectWindowTest, NothingIsPreselectedForAGoneWindowAndOkThenDoesNothing) {
    world().CloseWindow(fHome);
    Open(Mode::Window, [&](MacCaptureSelectWindow& window) { window.setSelectedWindow(fHome); });
    EXPECT_EQ(user().Window()->processList.selected, -1);
    EXPECT_TRUE(user().Window()->windowList.items.empty());
    ASSERT_TRUE(user().Press(W::WindowOK));
    EXPECT_TRUE(fAnswers.empty());
    EXPECT_EQ(user().OpenWindows(), 1);

    // Refresh reads the desktop again.
    world().AddProcess(720, "Painter");
    const uint32_t canvas = world().OpenWindow(720, "Canvas", {300, 300, 640, 480});
    ASSERT_TRUE(user().Press(W::RefreshButton));
    ASSERT_EQ(user().Window()->processList.items.size(), 2u);
    ASSERT_TRUE(user().Choose(W::ProcessList, 1));
    ASSERT_TRUE(user().Press(W::WindowOK));
    EXPECT_EQ(fAnswers, (Answers{{0, int(canvas), {}}}));
}

TEST_F(SelectWindowTest, MonitorModeListsTheDisplaysAndAnswersTheRememberedRegion) {
    OpenMonitor(1, MC::kCaptureRegion, kRegion);
    const auto state = user().Window().value();
    EXPECT_FALSE(state.windowMode);
    EXPECT_EQ(state.title + state.monitorText, "tr:obr_capture_mon_window_titletr:obr_capture_monitor_title");
    EXPECT_EQ(state.monitorOK.text + state.monitorCancel.text + state.regionButton.text,
              "tr:obr_capture_oktr:obr_capture_canceltr:obr_capture_region");
    EXPECT_EQ(state.monitorList.items, (std::vector<std::string>{"Main Panel (1)", "Side Panel (2)"}));
    EXPECT_EQ(state.monitorList.selected, 1);
    EXPECT_EQ(state.selectionList.items, (std::vector<std::string>{"tr:obr_capture_selection_fullscreen",
                                                                   "tr:obr_capture_selection_region"}));
    EXPECT_EQ(state.selectionList.selected, 1);
    EXPECT_TRUE(state.regionButton.enabled);
    ASSERT_TRUE(user().Press(W::MonitorOK));
    EXPECT_EQ(fAnswers, (Answers{{0, 1, kRegion}}));
}

TEST_F(SelectWindowTest, EachDisplayKeepsItsOwnRegion) {
    OpenMonitor(0, MC::kCaptureRegion, kRegion);
    // The side display has none: the chooser proposes 800 x 600 centred on it.
    ASSERT_TRUE(user().Choose(W::MonitorList, 1));
    ASSERT_TRUE(user().Press(W::RegionButton));
    ASSERT_EQ(gCalls.size(), 1u);
    EXPECT_EQ(gCalls[0].shown, (std::array{2, 240, 212, 800, 600}));
    Finish(true, 5, 6, 100, 50);

    ASSERT_TRUE(user().Choose(W::MonitorList, 0));
    ASSERT_TRUE(user().Press(W::RegionButton));
    EXPECT_EQ(gCalls.back().shown, (std::array{1, 10, 20, 300, 200}));
    Finish(false); // a cancelled choice keeps the region

    ASSERT_TRUE(user().Choose(W::MonitorList, 1));
    ASSERT_TRUE(user().Press(W::RegionButton));
    EXPECT_EQ(gCalls.back().shown, (std::array{2, 5, 6, 100, 50}));
    Finish(false);
    ASSERT_TRUE(user().Press(W::MonitorOK));
    EXPECT_EQ(fAnswers, (Answers{{0, 1, zRect(5, 6, 104, 55)}}));
}

TEST_F(SelectWindowTest, ChoosingRegionWithoutOneOpensTheChooserAndDisablesTheWindowMeanwhile) {
    OpenMonitor(0, MC::kCaptureWholeDisplay, zRect(40, 40, 59, 59)); // a region the side display lacks
    EXPECT_FALSE(user().Window()->regionButton.enabled);
    ASSERT_TRUE(user().Choose(W::MonitorList, 1));
    ASSERT_TRUE(user().Choose(W::SelectionList, 1));
    ASSERT_EQ(gCalls.size(), 1u);
    EXPECT_EQ(gCalls[0].shown, (std::array{2, 240, 212, 800, 600}));
    EXPECT_EQ(MonitorWidgetsEnabled(), std::vector<bool>(5, false));
    EXPECT_FALSE(user().Press(W::MonitorOK));

    // Nothing drawn: back to the window, and the region entry answers the full screen.
    Finish(false);
    EXPECT_EQ(MonitorWidgetsEnabled(), std::vector<bool>(5, true));
    ASSERT_TRUE(user().Press(W::MonitorOK));
    EXPECT_EQ(fAnswers, (Answers{{0, 1, {}}}));

    // Full screen again disables the region button.
    OpenMonitor(0, MC::kCaptureRegion, kRegion);
    ASSERT_TRUE(user().Choose(W::SelectionList, 0));
    EXPECT_FALSE(user().Window()->regionButton.enabled);
    EXPECT_EQ(gCalls.size(), 1u) << "a display with a region opens no chooser by itself";
}

TEST_F(SelectWindowTest, ARefusedChooserAlertsOnlyForARememberedRegion) {
    gRefuse = true;
    OpenMonitor(0, MC::kCaptureRegion, kRegion);
    ASSERT_TRUE(user().Press(W::RegionButton));
    EXPECT_EQ(user().Sheets(), (std::vector<std::pair<std::string, std::string>>{
                                   {"tr:obr_mon_invalid", "tr:obr_mon_invalid_msg"}}));
    EXPECT_EQ(MonitorWidgetsEnabled(), std::vector<bool>(5, true));

    // A display plugged in since the inventory last looked: listed by no
    // entry, so OK does nothing, and its proposal is centred on its corner.
    world().AddScreen({3, {3200, 0, 1024, 768}, 1.0, "Projector", 60});
    OpenMonitor(2, MC::kCaptureRegion);
    EXPECT_EQ(user().Window()->monitorList.selected, -1);
    ASSERT_TRUE(user().Press(W::RegionButton));
    EXPECT_EQ(gCalls.back().shown, (std::array{3, -400, -300, 800, 600}));
    EXPECT_EQ(user().Sheets().size(), 1u);
    ASSERT_TRUE(user().Press(W::MonitorOK));
    EXPECT_TRUE(fAnswers.empty());
}

TEST_F(SelectWindowTest, CancelAndTheFrameAnswerCancelOnceAndClose) {
    const std::pair<Mode, std::function<bool()>> ways[] = {
        {Mode::Window, [&] { return user().Press(W::WindowCancel); }},
        {Mode::Monitor, [&] { return user().Press(W::MonitorCancel); }},
        {Mode::Monitor, [&] { return user().CloseWindow(); }},
    };
    for (const auto& [mode, cancel] : ways) {
        fAnswers.clear();
        Open(mode, [](MacCaptureSelectWindow& window) { window.setSelectedMonitor(0); });
        ASSERT_TRUE(cancel());
        EXPECT_EQ(fAnswers, Answers{kCancelled});
        EXPECT_EQ(user().OpenWindows(), 0);
        EXPECT_FALSE(cancel()) << "no window left to act on";
    }
}

TEST_F(SelectWindowTest, AChooserAnsweringAfterTheWindowWentIsIgnored) {
    OpenMonitor(0, MC::kCaptureWholeDisplay);
    ASSERT_TRUE(user().Choose(W::SelectionList, 1));
    ASSERT_EQ(gCalls.size(), 1u);
    ASSERT_TRUE(user().CloseWindow());
    OnMain([&] { fWindow.reset(); });
    Finish(true, 1, 2, 3, 4);
    EXPECT_EQ(fAnswers, Answers{kCancelled});
}
