// The selection dialog as the host opens it for a source, and the user's
// answer applied to the source, through the C interface on the sim desktop.
#include <algorithm>
#include <atomic>

#include "PluginFixture.h"
#include "PluginGlobals.h"
#include "SimUser.h"

using qcp::platform::SelectionWidget;

namespace {

// The source's "ScreenCaptureSelectionOpen" property: -1 when unanswered.
int SelectionOpen(const std::string& id) {
    int32_t open = -1;
    const auto answer = [](void* context, QCP_PropertyType type, void* value) {
        if (type == QCP_PROPERTY_INT32) *static_cast<int32_t*>(context) = *static_cast<const int32_t*>(value);
    };
    QCP_GetProperty(&open, answer, "ScreenCaptureSelectionOpen", QCP_SCREEN_DEVICE_ID, id.c_str());
    return open;
}

struct Changes {
    std::string id;
    std::atomic<int> settings{0};
    std::atomic<int> openWhenTold{-1};
    static void Changed(void* context, int event) {
        auto& changes = *static_cast<Changes*>(context);
        if (event != QCP_EVENT_SETTINGS_CHANGED) return;
        ++changes.settings;
        changes.openWhenTold = SelectionOpen(changes.id);
    }
};

class SelectionPromptTest : public PluginTest {
protected:
    void SetUp() override {
        PluginTest::SetUp();
        world().AddProcess(4300, "Notes");
        notes = world().OpenWindow(4300, "Shopping list", {100, 100, 400, 300});
        ideas = world().OpenWindow(4300, "Ideas", {600, 100, 400, 300});
        id = CreateSource();
        changes.id = id;
        QCP_RegisterSourceChangedCallback(QCP_SCREEN_DEVICE_ID, id.c_str(), &Changes::Changed, &changes);
    }
    void Prompt(int flag = 0) { EXPECT_EQ(QCP_ShowCustomConfigDialog(QCP_SCREEN_DEVICE_ID, id.c_str(), flag), 1); }
    // Picks the window of that title in the open window picker, and OK.
    void ChooseWindow(const std::string& title) {
        const auto window = user().Window();
        ASSERT_TRUE(window && window->windowMode);
        const auto& titles = window->windowList.items;
        const auto at = std::find(titles.begin(), titles.end(), title);
        ASSERT_NE(at, titles.end()) << "the application's windows are listed";
        ASSERT_TRUE(user().Choose(SelectionWidget::WindowList, int(at - titles.begin())));
        ASSERT_TRUE(user().Press(SelectionWidget::WindowOK));
    }
    // A new source has no display until its settings give it one.
    void AimAtMainDisplay() {
        SetSettings(id, "<settings><parameter name=\"Type\" value=\"0\"/><parameter name=\"capture_monitor\" "
                        "value=\"0\"/></settings>");
    }

    std::string id;
    uint32_t notes = 0, ideas = 0;
    Changes changes;
};

} // namespace

TEST_F(SelectionPromptTest, TheChosenDisplayIsAppliedAndTheHostToldOnce) {
    AimAtMainDisplay();
    Prompt();
    const auto window = user().Window();
    ASSERT_TRUE(window);
    EXPECT_FALSE(window->windowMode);
    ASSERT_EQ(window->monitorList.items.size(), 2u);
    EXPECT_EQ(window->monitorList.selected, 0);

    EXPECT_EQ(SelectionOpen(id), 1);

    ASSERT_TRUE(user().Choose(SelectionWidget::MonitorList, 1));
    ASSERT_TRUE(user().Press(SelectionWidget::MonitorOK));
    EXPECT_EQ(user().OpenWindows(), 0);
    EXPECT_EQ(Value(Settings(id), "capture_monitor"), "1");
    EXPECT_EQ(Value(Settings(id), "capture_monitor_state"), "0");
    EXPECT_EQ(changes.settings, 1);
    // A host waiting for the dialog to close has heard of the new settings by then.
    EXPECT_EQ(changes.openWhenTold, 1);
    EXPECT_EQ(SelectionOpen(id), 0);
}

TEST_F(SelectionPromptTest, TheChosenWindowIsApplied) {
    SetSettings(id, "<settings><parameter name=\"Type\" value=\"1\"/><parameter name=\"capture_window\" "
                    "value=\"Shopping list\"/><parameter name=\"capture_app\" value=\"Notes\"/></settings>");
    Prompt();
    ChooseWindow("Ideas");
    EXPECT_EQ(Value(Settings(id), "capture_window"), "Ideas");
    EXPECT_EQ(changes.settings, 1);
}

TEST_F(SelectionPromptTest, AGameAnsweredWithAnotherWindowIsFollowedThere) {
    SetSettings(id, "<settings><parameter name=\"Type\" value=\"2\"/><parameter name=\"capture_window\" "
                    "value=\"Shopping list\"/><parameter name=\"capture_app\" value=\"Notes\"/></settings>");
    Prompt();
    ChooseWindow("Ideas");
    std::string application, title;
    ASSERT_TRUE(g_pMacCaptureManager->getCaptureMonitorAppWindowForSourceID(id, &application, &title));
    EXPECT_EQ(title, "Ideas") << "the window monitor follows the window chosen, not the one asked about";
    EXPECT_EQ(application, "Notes");
    EXPECT_EQ(Value(Settings(id), "capture_window"), "Ideas");
}

TEST_F(SelectionPromptTest, CancelAndAFlagLeaveTheSourceAsItWas) {
    Prompt(1);
    EXPECT_EQ(user().OpenWindows(), 0) << "a non-zero flag shows nothing";
    EXPECT_EQ(SelectionOpen(id), 0);
    EXPECT_EQ(QCP_ShowCustomConfigDialog(QCP_AUDIO_DEVICE_ID, nullptr, 0), 1);
    EXPECT_EQ(user().OpenWindows(), 0) << "the audio device has no dialog";

    AimAtMainDisplay();
    Prompt();
    ASSERT_EQ(user().OpenWindows(), 1);
    // While the dialog is up the type cannot change: an alert says why.
    SetSettings(id, "<settings><parameter name=\"Type\" value=\"1\"/></settings>");
    EXPECT_EQ(Value(Settings(id), "Type"), "0");
    ASSERT_FALSE(user().Sheets().empty());
    EXPECT_EQ(user().Sheets().back().first, "obr_close_mon_win_dialog");

    EXPECT_EQ(SelectionOpen(id), 1);
    ASSERT_TRUE(user().Press(SelectionWidget::MonitorCancel));
    EXPECT_EQ(user().OpenWindows(), 0);
    EXPECT_EQ(SelectionOpen(id), 0);
    EXPECT_EQ(changes.settings, 0);
    SetSettings(id, "<settings><parameter name=\"Type\" value=\"1\"/></settings>");
    EXPECT_EQ(Value(Settings(id), "Type"), "1") << "the type changes again once the dialog answered";
}

TEST_F(SelectionPromptTest, RemovingTheSourceOrTheLibraryClosesTheDialog) {
    AimAtMainDisplay();
    Prompt();
    ASSERT_EQ(user().OpenWindows(), 1);
    EXPECT_EQ(QCP_RemoveSource(QCP_SCREEN_DEVICE_ID, id.c_str()), 1);
    EXPECT_EQ(user().OpenWindows(), 0);

    id = CreateSource();
    AimAtMainDisplay();
    Prompt();
    ASSERT_EQ(user().OpenWindows(), 1);
    QCP_UninitializeLibrary();
    EXPECT_EQ(user().OpenWindows(), 0);
    ASSERT_EQ(QCP_IntitializeLibrary(), 1); // for the fixture's own ending
}
