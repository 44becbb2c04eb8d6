// The selection window's controller on the simulated desktop, with a
// recording region chooser in place of the overlay.
#include <array>
#include <functional>
#include <memory>

#include "MacCaptureSourceSDKInfo.h"
#include "Selection/MacCaptureSelectWindow.h"
#include "SelectionFixture.h"
#include "zQueue.h"

using MC::MacCaptureSelectWindow;
using Mode = MacCaptureSelectWindow::Mode;
using W = qcp::platform::SelectionWidget;
using Strings = std::vector<std::string>;

namespace {

// The chooser's calls, made on the main queue and read after a Sync.
struct ChooserCall {
    std::array<int, 5> shown; // display id, x, y, width, height
    OBRN::RegionCallback callback;
    void* userData;
};
std::vector<ChooserCall> gCalls;
std::vector<void*> gCancelled; // the user data of choices ended from outside
bool gRefuse = false;

bool RecordingChooser(int displayID, OBRN::RegionCallback callback, void* userData, int x, int y, int width,
                      int height) {
    gCalls.push_back({{displayID, x, y, width, height}, callback, userData});
    return !gRefuse;
}

void RecordingCanceller(void* userData) { gCancelled.push_back(userData); }

const zRect kRegion{10, 20, 309, 219}; // 300 x 200 at (10, 20)

class SelectWindowTest : public SelectionTest {
protected:
    void SetUp() override {
        SelectionTest::SetUp();
        gCalls.clear();
        gCancelled.clear();
        gRefuse = false;
    }
    void TearDown() override {
        OnMain([&] { fWindow.reset(); });
        SelectionTest::TearDown();
    }
    static void OnMain(const std::function<void()>& work) { zQueue::Main().Sync(work); }

    // Shows a controller as the handle would, replacing any other.
    void Open(Mode mode, uint32_t window = 0, int monitor = -1, int captureMode = 0, std::optional<zRect> region = {}) {
        OnMain([&] {
            fWindow = std::make_unique<MacCaptureSelectWindow>(mode, &RecordingChooser, &RecordingCanceller);
            fWindow->setHandler(&Heard, &fAnswers);
            fWindow->setSelectedWindow(window);
            fWindow->setSelectedMonitor(monitor);
            if (region) fWindow->setSelectedRegion(*region);
            fWindow->setCaptureMode(captureMode);
            ASSERT_TRUE(fWindow->show());
        });
    }
    // The overlay's answer to the chooser's last call.
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

} // namespace

TEST_F(SelectWindowTest, WindowAndGameModesListApplicationsAndPreselectTheWindow) {
    for (Mode mode : {Mode::Window, Mode::Game}) {
        fAnswers.clear();
        Open(mode, fDraft);
        auto state = user().Window().value();
        EXPECT_TRUE(state.windowMode);
        EXPECT_EQ((Strings{state.title, state.processText, state.windowText, state.refreshButton.text,
                           state.windowOK.text, state.windowCancel.text}),
                  (Strings{"tr:obr_capture_win_window_title", "tr:obr_capture_process_title",
                           "tr:obr_capture_window_text_title", "tr:obr_capture_refresh_title", "tr:obr_capture_ok",
                           "tr:obr_capture_cancel"}));
        EXPECT_EQ(state.processList.items, (Strings{"Editor (500)", "Browser (610)"}));
        EXPECT_EQ(state.processList.selected, 0);
        ASSERT_EQ(state.windowList.items.size(), 2u);
        EXPECT_EQ(state.windowList.items[size_t(state.windowList.selected)], "Draft");

        // Another application: its first window stands chosen.
        ASSERT_TRUE(user().Choose(W::ProcessList, 1));
        state = user().Window().value();
        EXPECT_EQ(state.windowList.items, Strings{"Home"});
        EXPECT_EQ(state.windowList.selected, 0);
        ASSERT_TRUE(user().Press(W::WindowOK));
        EXPECT_EQ(fAnswers, (Answers{{0, int(fHome), {}}}));
        EXPECT_EQ(user().OpenWindows(), 0);
    }
}

TEST_F(SelectWindowTest, NothingIsPreselectedForAGoneWindowAndOkThenDoesNothing) {
    world().CloseWindow(fHome);
    Open(Mode::Window, fHome);
    EXPECT_EQ(user().Window()->processList.selected, -1);
    EXPECT_TRUE(user().Window()->windowList.items.empty());
    ASSERT_TRUE(user().Press(W::WindowOK));
    EXPECT_TRUE(fAnswers.empty());
    EXPECT_EQ(user().OpenWindows(), 1);

    // Refresh reads the desktop again.
    world().AddProcess(720, "Painter");
    const uint32_t canvas = world().OpenWindow(720, "Canvas", {300, 300, 640, 480});
    ASSERT_TRUE(user().Press(W::RefreshButton));
    ASSERT_TRUE(user().Choose(W::ProcessList, 1));
    ASSERT_TRUE(user().Press(W::WindowOK));
    EXPECT_EQ(fAnswers, (Answers{{0, int(canvas), {}}}));
}

TEST_F(SelectWindowTest, MonitorModeListsTheDisplaysAndAnswersTheRememberedRegion) {
    Open(Mode::Monitor, 0, 1, MC::kCaptureRegion, kRegion);
    const auto state = user().Window().value();
    EXPECT_FALSE(state.windowMode);
    EXPECT_EQ((Strings{state.title, state.monitorText, state.monitorOK.text, state.monitorCancel.text,
                       state.regionButton.text}),
              (Strings{"tr:obr_capture_mon_window_title", "tr:obr_capture_monitor_title", "tr:obr_capture_ok",
                       "tr:obr_capture_cancel", "tr:obr_capture_region"}));
    EXPECT_EQ(state.monitorList.items, (Strings{"Main Panel (1)", "Side Panel (2)"}));
    EXPECT_EQ(state.monitorList.selected, 1);
    EXPECT_EQ(state.selectionList.items,
              (Strings{"tr:obr_capture_selection_fullscreen", "tr:obr_capture_selection_region"}));
    EXPECT_EQ(state.selectionList.selected, 1);
    EXPECT_TRUE(state.regionButton.enabled);
    ASSERT_TRUE(user().Press(W::MonitorOK));
    EXPECT_EQ(fAnswers, (Answers{{0, 1, kRegion}}));
}

TEST_F(SelectWindowTest, EachDisplayKeepsItsOwnRegion) {
    Open(Mode::Monitor, 0, 0, MC::kCaptureRegion, kRegion);
    // The side display has none: the chooser proposes 800 x 600 centred on it.
    ASSERT_TRUE(user().Choose(W::MonitorList, 1));
    ASSERT_TRUE(user().Press(W::RegionButton));
    EXPECT_EQ(gCalls.back().shown, (std::array{2, 240, 212, 800, 600}));
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
    Open(Mode::Monitor, 0, 0, MC::kCaptureWholeDisplay, kRegion); // the side display has none
    EXPECT_FALSE(user().Window()->regionButton.enabled);
    ASSERT_TRUE(user().Choose(W::MonitorList, 1));
    ASSERT_TRUE(user().Choose(W::SelectionList, 1));
    ASSERT_EQ(gCalls.size(), 1u);
    EXPECT_EQ(gCalls[0].shown, (std::array{2, 240, 212, 800, 600}));
    EXPECT_EQ(MonitorWidgetsEnabled(), std::vector<bool>(5, false));

    // Nothing drawn: the region entry answers the full screen.
    Finish(false);
    EXPECT_EQ(MonitorWidgetsEnabled(), std::vector<bool>(5, true));
    ASSERT_TRUE(user().Press(W::MonitorOK));
    EXPECT_EQ(fAnswers, (Answers{{0, 1, {}}}));

    Open(Mode::Monitor, 0, 0, MC::kCaptureRegion, kRegion);
    ASSERT_TRUE(user().Choose(W::SelectionList, 0));
    EXPECT_FALSE(user().Window()->regionButton.enabled);
    ASSERT_TRUE(user().Choose(W::SelectionList, 1));
    EXPECT_EQ(gCalls.size(), 1u) << "a display with a region opens no chooser by itself";
}

TEST_F(SelectWindowTest, ARefusedChooserAlertsOnlyForARememberedRegion) {
    gRefuse = true;
    Open(Mode::Monitor, 0, 0, MC::kCaptureRegion, kRegion);
    ASSERT_TRUE(user().Press(W::RegionButton));
    using Sheets = std::vector<std::pair<std::string, std::string>>;
    EXPECT_EQ(user().Sheets(), (Sheets{{"tr:obr_mon_invalid", "tr:obr_mon_invalid_msg"}}));
    EXPECT_EQ(MonitorWidgetsEnabled(), std::vector<bool>(5, true));

    // A display plugged in since the inventory last looked: no entry is
    // selected, so OK does nothing, and its proposal is centred on its corner.
    world().AddScreen({3, {3200, 0, 1024, 768}, 1.0, "Projector", 60});
    Open(Mode::Monitor, 0, 2, MC::kCaptureRegion);
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
        Open(mode, 0, 0);
        ASSERT_TRUE(cancel());
        EXPECT_EQ(fAnswers, Answers{kCancelled});
        EXPECT_EQ(user().OpenWindows(), 0);
        EXPECT_FALSE(cancel()) << "no window left to act on";
    }
}

TEST_F(SelectWindowTest, ClosingEndsTheOpenChoiceAndItsLateAnswerIsIgnored) {
    Open(Mode::Monitor, 0, 0);
    ASSERT_TRUE(user().Choose(W::SelectionList, 1));
    ASSERT_TRUE(user().CloseWindow());
    EXPECT_EQ(gCancelled, std::vector<void*>{gCalls.back().userData}) << "the overlay is not left up";
    OnMain([&] { fWindow.reset(); });
    Finish(true, 1, 2, 3, 4);
    EXPECT_EQ(fAnswers, Answers{kCancelled});
}
