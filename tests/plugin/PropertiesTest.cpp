// Properties through the host interface, and display fall-backs after an unplug.
#include "PluginFixture.h"
#include "PluginGlobals.h"
#include "zXML.h"

namespace {
struct Text {
    int calls = 0;
    std::string value;
    static void Answer(void* context, QCP_PropertyType type, void* value) {
        auto* self = static_cast<Text*>(context);
        ++self->calls;
        if (type == QCP_PROPERTY_TEXT) self->value = static_cast<const char*>(value);
    }
};

Text Ask(const char* property, const std::string& source) {
    Text answer;
    const int result = QCP_GetProperty(&answer, &Text::Answer, property, QCP_SCREEN_DEVICE_ID, source.c_str());
    EXPECT_EQ(result, answer.calls);
    return answer;
}

std::string Parameter(const std::string& name, const std::string& value) {
    return "<parameter name=\"" + name + "\" value=\"" + value + "\"/>";
}
} // namespace

TEST_F(PluginTest, ApplicationsAndWindowsListed) {
    world().AddProcess(4242, "Notes");
    world().AddProcess(4300, "Offscreen");
    const uint32_t window = world().OpenWindow(4242, "Shopping list", {100, 100, 640, 480});
    world().OpenWindow(4300, "Nowhere", {9000, 9000, 300, 200}); // on no display
    world().OpenWindow(world().OwnPID(), "Host", {0, 0, 300, 300});
    Text apps;
    ASSERT_EQ(QCP_GetProperty(&apps, &Text::Answer, "ScreenCaptureAppsAndWindows", QCP_AUDIO_DEVICE_ID, nullptr), 1);
    EXPECT_NE(apps.value.find("<apps count=\"2\""), std::string::npos) << apps.value;
    EXPECT_NE(apps.value.find("<app name=\"Notes\" id=\"pid 4242\" windows=\"1\""), std::string::npos);
    EXPECT_NE(apps.value.find("<window name=\"Shopping list\" id=\"pid 4242, window " + std::to_string(window) + "\""),
              std::string::npos);
    EXPECT_NE(apps.value.find("<app name=\"Offscreen\" id=\"pid 4300\" windows=\"0\""), std::string::npos);
    EXPECT_EQ(apps.value.find("Host"), std::string::npos) << "the host's own windows are never offered";
}

TEST_F(PluginTest, DisplaysListedInScreenOrder) {
    // A high-density panel whose size in points has a fraction, and no product name.
    world().AddScreen({33, {3200, 0, 1440.5, 900}, 2.0, std::nullopt, 60});
    Text answer;
    ASSERT_EQ(QCP_GetProperty(&answer, &Text::Answer, "ScreenCaptureDisplays", "any screen device", nullptr), 1);
    zRecord displays;
    ASSERT_TRUE(zXML::ParseBuffer(answer.value, displays)) << answer.value;
    EXPECT_EQ(displays.Name(), "displays");
    EXPECT_EQ(displays.AsUInt32("count", 0), 3u);
    struct Expected {
        uint32_t id;
        std::string name, width, height, scale;
    };
    const std::vector<Expected> expected = {{kMainDisplay, "Main", "1920", "1080", "1"},
                                            {kSecondDisplay, "Side", "1280", "1024", "1"},
                                            {33, "Unknown", "1440.5", "900", "2"}};
    ASSERT_EQ(displays.Children().size(), expected.size()) << answer.value;
    int32_t index = 0;
    for (const zRecord& display : displays.Children()) {
        const Expected& want = expected[size_t(index)];
        EXPECT_EQ(display.Name(), "display");
        EXPECT_EQ(display.AsInt32("index", -1), index);
        EXPECT_EQ(display.AsUInt32("id", 0), want.id);
        EXPECT_EQ(display.AsText("name", {}), want.name);
        EXPECT_EQ(display.AsText("width", {}), want.width);
        EXPECT_EQ(display.AsText("height", {}), want.height);
        EXPECT_EQ(display.AsText("scale", {}), want.scale);
        ++index;
    }

    // The list is read afresh: without the main display the side one is first.
    world().RemoveScreen(kMainDisplay);
    ASSERT_EQ(QCP_GetProperty(&answer, &Text::Answer, "ScreenCaptureDisplays", QCP_SCREEN_DEVICE_ID, nullptr), 1);
    ASSERT_TRUE(zXML::ParseBuffer(answer.value, displays)) << answer.value;
    EXPECT_EQ(displays.AsUInt32("count", 0), 2u);
    EXPECT_EQ(displays.FindChild("display")->AsUInt32("id", 0), kSecondDisplay);
    EXPECT_EQ(displays.FindChild("display")->AsInt32("index", -1), 0);

    Text audio;
    EXPECT_EQ(QCP_GetProperty(&audio, &Text::Answer, "ScreenCaptureDisplays", QCP_AUDIO_DEVICE_ID, nullptr), 0);
    EXPECT_EQ(audio.calls, 0);
}

TEST_F(PluginTest, AnalyticsDescribeTheSource) {
    world().AddProcess(4242, "Notes");
    world().OpenWindow(4242, "Shopping list", {100, 100, 640, 480});
    const std::string id = CreateSource();
    MC::MacCaptureManager& manager = *g_pMacCaptureManager;

    SetSettings(id, "<settings>" + Parameter("Type", "0") + "</settings>");
    EXPECT_EQ(Ask("analytics_subtype", id).value, "Fullscreen");
    Text tertiary = Ask("analytics_tertiary_type", id);
    EXPECT_EQ(tertiary.calls, 1) << "an empty text is still an answer";
    EXPECT_EQ(tertiary.value, "");
    manager.setCaptureAudio(id, true);
    EXPECT_EQ(Ask("analytics_tertiary_type", id).value, "System Audio Enabled");

    SetSettings(id, "<settings>" + Parameter("capture_monitor_region", "0,0,99,99") +
                        Parameter("capture_monitor_state", "1") + "</settings>");
    EXPECT_EQ(Ask("analytics_subtype", id).value, "Screen Region");

    SetSettings(id, "<settings>" + Parameter("Type", "1") + Parameter("capture_window", "Shopping list") +
                        Parameter("capture_app", "Notes") + "</settings>");
    EXPECT_EQ(Ask("analytics_subtype", id).value, "Window");
    manager.setCaptureAudio(id, true);
    EXPECT_EQ(Ask("analytics_tertiary_type", id).value, "Notes, System Audio Enabled");
    manager.setCaptureAudio(id, false);
    EXPECT_EQ(Ask("analytics_tertiary_type", id).value, "Notes");

    manager.setCaptureType(id, MC::kCaptureGame, nullptr);
    EXPECT_EQ(Ask("analytics_subtype", id).value, "Game");

    EXPECT_EQ(Ask("analytics_subtype", "nobody").calls, 0);
    Text audio;
    EXPECT_EQ(QCP_GetProperty(&audio, &Text::Answer, "analytics_subtype", QCP_AUDIO_DEVICE_ID, id.c_str()), 0);
    EXPECT_EQ(QCP_GetProperty(&audio, &Text::Answer, "analytics_subtype", QCP_SCREEN_DEVICE_ID, nullptr), 0);
}

TEST_F(PluginTest, WindowSourceWithoutItsWindowGivesNoTertiaryAnswer) {
    const std::string id = CreateSource();
    g_pMacCaptureManager->setCaptureType(id, MC::kCaptureWindow, nullptr);
    EXPECT_EQ(Ask("analytics_tertiary_type", id).calls, 0);
}

TEST_F(PluginTest, DisplayIndexFallsBackAfterUnplug) {
    const std::string id = CreateSource();
    MC::MacCaptureManager& manager = *g_pMacCaptureManager;
    manager.setCaptureDisplayIndex(id, 1);
    EXPECT_EQ(manager.getCaptureDisplayIndex(id), 1);

    // Another display now stands at index 1: it is taken.
    world().RemoveScreen(kSecondDisplay);
    world().AddScreen({33, {1920, 0, 800, 600}, 1.0, "Third", 60});
    EXPECT_EQ(manager.getCaptureDisplayIndex(id), 1);
    EXPECT_EQ(manager._GetCaptureSDKInfo(id)->displayID, 33u);

    // Nothing at index 1: the main display.
    world().RemoveScreen(33);
    EXPECT_EQ(manager.getCaptureDisplayIndex(id), 0);
    EXPECT_EQ(manager._GetCaptureSDKInfo(id)->displayID, kMainDisplay);

    // No display at all.
    world().RemoveScreen(kMainDisplay);
    EXPECT_EQ(manager.getCaptureDisplayIndex(id), -1);
    EXPECT_EQ(manager._GetCaptureSDKInfo(id)->displayID, 0u);
}

TEST_F(PluginTest, TypeChangeWhileSelectionPromptShownRaisesAlert) {
    const std::string id = CreateSource();
    MC::MacCaptureManager& manager = *g_pMacCaptureManager;
    manager.setSelectionPromptShown(true);
    manager.setCaptureType(id, MC::kCaptureWindow, nullptr);
    EXPECT_EQ(manager.getCaptureType(id), MC::kCaptureDisplay);
    ASSERT_EQ(world().Alerts().size(), 1u);
    EXPECT_EQ(world().Alerts()[0].message, "obr_close_mon_win_dialog");
    EXPECT_EQ(world().Alerts()[0].informativeText, "obr_close_mon_win_dialog_msg");
    EXPECT_EQ(world().Alerts()[0].buttons, std::vector<std::string>{"dialog_ok"});
    manager.setSelectionPromptShown(false);
    manager.setCaptureType(id, MC::kCaptureWindow, nullptr);
    EXPECT_EQ(manager.getCaptureType(id), MC::kCaptureWindow);
}
