// Sources through the host interface: enumeration, creation, removal, callbacks.
#include "PluginFixture.h"
#include "PluginGlobals.h"

TEST_F(PluginTest, AudioDeviceHasItsOneFixedSource) {
    EXPECT_EQ(QCP_GetSourceCount("pc-audio-capture"), 1u);
    for (uint32_t index : {0u, 1u, 7u}) EXPECT_EQ(SourceId("pc-audio-capture", index), "System Audio Capture");
    EXPECT_EQ(QCP_GetSourceState("pc-audio-capture", "made up"), QCP_SOURCE_STATE_EXISTS);
    EXPECT_EQ(SourceDisplayName("pc-audio-capture", "anything"), "obr_system_audio_name");
}

TEST_F(PluginTest, CreatedSourcesGetDistinctGeneratedIdsAndTheDefaultName) {
    EXPECT_EQ(QCP_GetSourceCount("pc-capture"), 0u);
    const std::string first = CreateSource();
    const std::string second = CreateSource();
    EXPECT_EQ(first.size(), 36u);
    EXPECT_NE(first, second);
    EXPECT_EQ(QCP_GetSourceCount("pc-capture"), 2u);
    EXPECT_EQ(QCP_GetSourceState("pc-capture", first.c_str()), QCP_SOURCE_STATE_EXISTS);
    EXPECT_EQ(SourceDisplayName("pc-capture", first.c_str()), "obr_capture_name");
    EXPECT_EQ(SourceDisplayName("pc-capture", second.c_str()), "obr_capture_name");
}

TEST_F(PluginTest, NamedSourceIdsAreUnique) {
    EXPECT_EQ(QCP_CreateNamedSource("pc-capture", "Desk"), 1);
    EXPECT_EQ(QCP_CreateNamedSource("pc-capture", "Desk"), 0);
    EXPECT_EQ(QCP_GetSourceCount("pc-capture"), 1u);
    EXPECT_EQ(QCP_RemoveSource("pc-capture", "Desk"), 1);
    EXPECT_EQ(QCP_RemoveSource("pc-capture", "Desk"), 0);
    EXPECT_EQ(QCP_GetSourceState("pc-capture", "Desk"), QCP_SOURCE_STATE_UNKNOWN);
}

TEST_F(PluginTest, RemovingTheMiddleSourceKeepsCreationOrder) {
    // Ids chosen so that creation order differs from the map's byte order.
    for (const char* id : {"zeta", "alpha", "mid"}) ASSERT_EQ(QCP_CreateNamedSource(nullptr, id), 1);
    EXPECT_EQ(SourceId("pc-capture", 0), "zeta");
    EXPECT_EQ(SourceId("pc-capture", 2), "mid");
    ASSERT_EQ(QCP_RemoveSource(nullptr, "alpha"), 1);
    EXPECT_EQ(QCP_GetSourceCount("pc-capture"), 2u);
    EXPECT_EQ(SourceId("pc-capture", 0), "zeta");
    EXPECT_EQ(SourceId("pc-capture", 1), "mid");
}

TEST_F(PluginTest, UnknownScreenSourcesAreSilent) {
    uint32_t length = 55;
    char buffer[8] = "keep";
    QCP_GetSourceDisplayName("pc-capture", "nobody", nullptr, nullptr, &length);
    QCP_GetSourceDisplayName("pc-capture", "nobody", nullptr, buffer, &length);
    QCP_GetSourceId("pc-capture", 3, nullptr, &length);
    EXPECT_EQ(length, 55u);
    EXPECT_STREQ(buffer, "keep");
    EXPECT_EQ(QCP_GetSourceState("pc-capture", nullptr), QCP_SOURCE_STATE_UNKNOWN);
    QCP_RegisterVideoDataArrivedCallback("pc-capture", "nobody", nullptr, nullptr);
    QCP_RegisterSourceChangedCallback("pc-capture", nullptr, nullptr, nullptr);
}

TEST_F(PluginTest, GeneratedUniqueNamesSkipNamesInUse) {
    ASSERT_EQ(QCP_CreateNamedSource(nullptr, "a"), 1);
    MC::MacCaptureManager& manager = *g_pMacCaptureManager;
    EXPECT_EQ(manager._GenerateUniqueName(), "obr_capture_name 0");
    ASSERT_NE(manager.addSource("b", "obr_capture_name 0"), nullptr);
    ASSERT_NE(manager.addSource("c", "obr_capture_name 1"), nullptr);
    EXPECT_EQ(manager._GenerateUniqueName(), "obr_capture_name 2");
    EXPECT_EQ(manager.addSource("b", "other"), nullptr);
    EXPECT_EQ(manager.getSource(std::string("b"))->sourceName(), "obr_capture_name 0") << "existing source untouched";
}

namespace {
struct Events {
    std::vector<int> seen;
    static void Changed(void* context, int event) { static_cast<Events*>(context)->seen.push_back(event); }
};
} // namespace

TEST_F(PluginTest, SettingsChangedNotificationNeedsCallbackAndContext) {
    const std::string id = CreateSource();
    MC::MacCaptureSourceSDKInfo* info = g_pMacCaptureManager->_GetCaptureSDKInfo(id);
    ASSERT_NE(info, nullptr);
    Events events;
    QCP_RegisterSourceChangedCallback("pc-capture", id.c_str(), &Events::Changed, nullptr);
    info->NotifySourceSettingsChanged();
    EXPECT_TRUE(events.seen.empty());
    QCP_RegisterSourceChangedCallback("pc-audio-capture", id.c_str(), &Events::Changed, &events);
    info->NotifySourceSettingsChanged();
    EXPECT_TRUE(events.seen.empty()) << "the audio device ignores the registration";
    QCP_RegisterSourceChangedCallback("pc-capture", id.c_str(), &Events::Changed, &events);
    info->NotifySourceSettingsChanged();
    EXPECT_EQ(events.seen, std::vector<int>{int(QCP_EVENT_SETTINGS_CHANGED)});
}

TEST_F(PluginTest, NewRecordsHoldTheirDefaults) {
    const std::string id = CreateSource();
    MC::MacCaptureManager& manager = *g_pMacCaptureManager;
    EXPECT_EQ(manager.getCaptureType(id), 0);
    EXPECT_TRUE(manager.showCursor(id));
    EXPECT_TRUE(manager.getSource(id)->showsCursor()) << "the record's cursor flag is copied into the source";
    EXPECT_FALSE(manager.isCapturingAudio(id));
    EXPECT_TRUE(manager.IsCaptureVideo(id));
    EXPECT_FALSE(manager.getWindowCaptureFullscreen(id));
    EXPECT_EQ(manager.getCaptureWindowID(id), 0);
    EXPECT_EQ(manager.getCaptureMode(id), 0u);
    EXPECT_EQ(manager.getCaptureMode("unknown"), 0xFFFFFFFFu);
    zRect region{1, 2, 3, 4};
    manager.getCaptureRegion(id, region);
    EXPECT_FALSE(region.HasArea());
}
