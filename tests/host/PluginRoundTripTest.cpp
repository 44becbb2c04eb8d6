// The host's records against the real plug-in: what the host writes, the
// plug-in reads, and what the plug-in writes back, the host reads.
#include <gtest/gtest.h>

#include "CaptureOptions.h"
#include "Displays.h"
#include "LoadedPlugin.h"
#include "PluginSettings.h"
#include "WindowCatalogue.h"

using namespace qcphost;

namespace {

SettingsRecord Answer(PluginLibrary& plugin, const std::string& source) {
    SettingsRecord settings;
    std::string error;
    EXPECT_TRUE(SettingsRecord::Parse(ReadSettingsText(plugin, source), settings, error)) << error;
    return settings;
}

} // namespace

using HostRecords = LoadedPlugin;

TEST_F(HostRecords, AwkwardTitleAndApplicationComeBackFromThePlugin) {
    // A game's window is followed even before it opens, so the plug-in
    // answers with exactly the title and application it was given.
    CaptureOptions options;
    options.window = "Q&A <\"draft\"> 'v2' &amp; Zürich — 東京";
    options.app = "Notes & <Co> \"beta\"";
    options.game = true;
    options.video = false;
    ASSERT_EQ(plugin().QCP_CreateNamedSource(QCP_SCREEN_DEVICE_ID, "game"), 1);
    ApplySettings(plugin(), "game", options.Settings());

    const SettingsRecord answer = Answer(plugin(), "game");
    EXPECT_EQ(answer.Value("Type"), "2");
    EXPECT_EQ(answer.Value("capture_window"), options.window);
    EXPECT_EQ(answer.Value("capture_app"), options.app);
}

TEST_F(HostRecords, WindowAndRegionChoicesTakeEffect) {
    CaptureOptions window;
    window.window = "shopping LIST";
    window.app = "notes";
    ASSERT_TRUE(WindowCatalogue::Read(plugin()).Has(window.window, window.app));
    ASSERT_EQ(plugin().QCP_CreateNamedSource(QCP_SCREEN_DEVICE_ID, "window"), 1);
    ApplySettings(plugin(), "window", window.Settings());
    const SettingsRecord aimed = Answer(plugin(), "window");
    EXPECT_EQ(aimed.Value("Type"), "1");
    EXPECT_EQ(aimed.Value("capture_window"), "Shopping list");
    EXPECT_EQ(aimed.Value("capture_app"), "Notes");

    CaptureOptions region;
    region.display = 1;
    region.region = "100,50,739,529";
    region.cursor = false;
    ASSERT_EQ(plugin().QCP_CreateNamedSource(QCP_SCREEN_DEVICE_ID, "region"), 1);
    ApplySettings(plugin(), "region", region.Settings());
    const SettingsRecord cropped = Answer(plugin(), "region");
    EXPECT_EQ(cropped.Value("cursor"), "false");
    EXPECT_EQ(cropped.Value("capture_monitor"), "1");
    EXPECT_EQ(cropped.Value("capture_monitor_region"), "100,50,739,529");
    EXPECT_EQ(cropped.Value("capture_monitor_state"), "1");
}

TEST_F(HostRecords, ListsTheDisplaysWithoutMakingASource) {
    const uint32_t sources = plugin().QCP_GetSourceCount(QCP_SCREEN_DEVICE_ID);
    EXPECT_EQ(ReadDisplays(plugin()).size(), 2u);
    EXPECT_EQ(plugin().QCP_GetSourceCount(QCP_SCREEN_DEVICE_ID), sources);
}

TEST(NoDisplaysMessage, NamesWhatToCheck) {
    const std::string unset = "no displays: is an X server running? ($DISPLAY is unset)";
    EXPECT_EQ(NoDisplaysMessage(nullptr, nullptr), unset);
    EXPECT_EQ(NoDisplaysMessage("linux", ""), unset);
    EXPECT_NE(NoDisplaysMessage(nullptr, ":7").find("running at :7?"), std::string::npos);
    EXPECT_EQ(NoDisplaysMessage("sim", nullptr).find("X server"), std::string::npos);
}
