// The settings record through the host interface.
#include <regex>

#include "PluginFixture.h"

namespace {
std::string Record(const std::string& parameters) {
    return "<settings>" + parameters + "</settings>";
}
std::string Parameter(const std::string& name, const std::string& value) {
    return "<parameter name=\"" + name + "\" value=\"" + value + "\"/>";
}
// The names of the parameters in the order written.
std::vector<std::string> Names(const std::string& settings) {
    std::vector<std::string> names;
    const std::regex name("name=\"([^\"]*)\"");
    for (auto it = std::sregex_iterator(settings.begin(), settings.end(), name); it != std::sregex_iterator(); ++it)
        names.push_back((*it)[1]);
    return names;
}
} // namespace

TEST_F(PluginTest, NewSourceSettingsInOrder) {
    const std::string id = CreateSource();
    const std::string settings = Settings(id);
    EXPECT_EQ(Names(settings), (std::vector<std::string>{"Type", "cursor", "capture_audio", "capture_video",
                                                          "capture_game_fullscreen", "capture_monitor",
                                                          "capture_monitor_region", "capture_monitor_state"}));
    EXPECT_EQ(Value(settings, "Type"), "0");
    EXPECT_EQ(Value(settings, "cursor"), "true");
    EXPECT_EQ(Value(settings, "capture_audio"), "false");
    EXPECT_EQ(Value(settings, "capture_video"), "true");
    EXPECT_EQ(Value(settings, "capture_game_fullscreen"), "false");
    EXPECT_EQ(Value(settings, "capture_monitor"), "-1");
    EXPECT_EQ(Value(settings, "capture_monitor_state"), "0");
}

TEST_F(PluginTest, FetchingSettingsStartsAnIdleVideoSourceOnTheMainDisplay) {
    const std::string id = CreateSource();
    Settings(id);
    EXPECT_EQ(Value(Settings(id), "capture_monitor"), "0");
}

TEST_F(PluginTest, SettingsQueryOfUnknownSourceLeavesLength) {
    uint32_t length = 1234;
    QCP_GetSourceSettings(QCP_SCREEN_DEVICE_ID, "nobody", nullptr, &length);
    EXPECT_EQ(length, 1234u);
    QCP_GetSourceSettings(QCP_AUDIO_DEVICE_ID, "nobody", nullptr, &length);
    EXPECT_EQ(length, 0u);
}

TEST_F(PluginTest, VideoOffAloneChangesOnlyTheRememberedKeys) {
    const std::string id = CreateSource();
    SetSettings(id, Record(Parameter("Type", "0") + Parameter("cursor", "false") + Parameter("capture_monitor", "1")));
    SetSettings(id, Record(Parameter("capture_video", "false")));
    const std::string settings = Settings(id);
    EXPECT_EQ(Value(settings, "capture_video"), "false");
    EXPECT_EQ(Value(settings, "cursor"), "false") << "absent keys change nothing";
    EXPECT_EQ(Value(settings, "capture_monitor"), "0") << "display index -1 is applied as 0";
    EXPECT_EQ(Value(settings, "capture_monitor_state"), "0");
}

TEST_F(PluginTest, RegionsApplyByMode) {
    const std::string id = CreateSource();
    // Mode 0 with a valid region stores it but captures the whole display.
    SetSettings(id, Record(Parameter("Type", "0") + Parameter("capture_monitor", "1") +
                           Parameter("capture_monitor_region", "10,20,109,219") +
                           Parameter("capture_monitor_state", "0")));
    std::string settings = Settings(id);
    EXPECT_EQ(Value(settings, "capture_monitor"), "1");
    EXPECT_EQ(Value(settings, "capture_monitor_region"), "10,20,109,219");
    EXPECT_EQ(Value(settings, "capture_monitor_state"), "0");

    // A one-pixel region is valid.
    SetSettings(id, Record(Parameter("capture_monitor", "1") + Parameter("capture_monitor_region", "5,6,5,6") +
                           Parameter("capture_monitor_state", "1")));
    settings = Settings(id);
    EXPECT_EQ(Value(settings, "capture_monitor_state"), "1");
    EXPECT_EQ(Value(settings, "capture_monitor_region"), "5,6,5,6");

    // Right before left acts as the whole display.
    SetSettings(id, Record(Parameter("capture_monitor", "0") + Parameter("capture_monitor_region", "50,0,10,10") +
                           Parameter("capture_monitor_state", "1")));
    EXPECT_EQ(Value(Settings(id), "capture_monitor_state"), "0");
}

TEST_F(PluginTest, UnparsableSettingsChangeNothing) {
    const std::string id = CreateSource();
    SetSettings(id, Record(Parameter("cursor", "false")));
    const std::string before = Settings(id);
    for (const char* junk : {"", "<settings>", "not xml", "<settings><parameter name=\"cursor\" value=\"true\">"})
        SetSettings(id, junk);
    EXPECT_EQ(Settings(id), before);
}

TEST_F(PluginTest, ParameterListQueryReportsZeroThenFills) {
    const std::string id = CreateSource();
    uint32_t length = 0;
    EXPECT_EQ(QCP_GetValidParameterValues(QCP_SCREEN_DEVICE_ID, id.c_str(), nullptr, &length), 0);
    ASSERT_GT(length, 0u);
    std::string list(length, '\0');
    EXPECT_EQ(QCP_GetValidParameterValues(QCP_SCREEN_DEVICE_ID, id.c_str(), list.data(), &length), 1);
    EXPECT_EQ(Names(list), (std::vector<std::string>{"capture_video", "Type", "cursor", "capture_audio"}));
    EXPECT_NE(list.find("<option value=\"2\""), std::string::npos);
    EXPECT_EQ(QCP_GetValidParameterValues(QCP_SCREEN_DEVICE_ID, id.c_str(), nullptr, nullptr), 0);

    SetSettings(id, Record(Parameter("capture_video", "false")));
    QCP_GetValidParameterValues(QCP_SCREEN_DEVICE_ID, id.c_str(), nullptr, &length);
    list.assign(length, '\0');
    QCP_GetValidParameterValues(QCP_SCREEN_DEVICE_ID, id.c_str(), list.data(), &length);
    EXPECT_EQ(Names(list), (std::vector<std::string>{"capture_video", "capture_audio"}));
}

TEST_F(PluginTest, WindowSourcesAreRestoredByTitleAndApplicationInAnyCase) {
    world().AddProcess(4242, "Notes");
    const uint32_t window = world().OpenWindow(4242, "Shopping List", {100, 100, 640, 480});
    const std::string id = CreateSource();
    SetSettings(id, Record(Parameter("Type", "1") + Parameter("capture_window", "shopping list") +
                           Parameter("capture_app", "NOTES")));
    const std::string settings = Settings(id);
    EXPECT_EQ(Value(settings, "Type"), "1");
    EXPECT_EQ(Value(settings, "capture_window"), "Shopping List");
    EXPECT_EQ(Value(settings, "capture_app"), "Notes");

    // The record restores on a fresh source.
    const std::string copy = CreateSource();
    SetSettings(copy, settings);
    EXPECT_EQ(Value(Settings(copy), "capture_window"), "Shopping List");
    (void)window;
}

TEST_F(PluginTest, CaptureAudioStaysOffWithoutTheDriver) {
    const std::string id = CreateSource();
    SetSettings(id, Record(Parameter("capture_audio", "true")));
    EXPECT_EQ(Value(Settings(id), "capture_audio"), "false");
}
