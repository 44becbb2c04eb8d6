#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "SettingsRecord.h"
#include "WindowCatalogue.h"

using qcphost::SettingsRecord;

namespace {
// Everything XML gives a meaning to, a tab and line breaks, and non-ASCII text.
const std::string kAwkward = "Q&A <\"draft\"> 'v2' &amp; \tZürich\r\n東京 — ✓";
} // namespace

TEST(SettingsRecord, AnyTextComesBackExactly) {
    SettingsRecord record;
    record.Add("capture_window", kAwkward);
    record.Add("capture_app", "Notes & <Co>");
    record.Add("capture_monitor_region", "");
    const std::string xml = record.ToXml();
    EXPECT_EQ(xml.find("<\""), std::string::npos) << xml;

    SettingsRecord read;
    std::string error;
    ASSERT_TRUE(SettingsRecord::Parse(xml, read, error)) << error << "\n" << xml;
    EXPECT_EQ(read.parameters(), record.parameters());
}

TEST(SettingsRecord, RefusesTextThePluginWouldIgnore) {
    SettingsRecord read;
    read.Add("cursor", "false");
    std::string error;
    for (const std::string& bad : std::vector<std::string>{
             "",
             "<settings>",
             "<settings><parameter name=\"capture_window\" value=\"say \"hi\"\"/></settings>",
             "<settings/><settings/>",
             "<settings/>text",
             "<settings><parameter name=\"cursor\" name=\"Type\" value=\"1\"/></settings>",
             std::string("<settings/>\0", 12),
         }) {
        EXPECT_FALSE(SettingsRecord::Parse(bad, read, error)) << bad;
        EXPECT_NE(error.find("not well-formed"), std::string::npos) << error;
    }
    EXPECT_FALSE(SettingsRecord::Parse("<source><parameter name=\"cursor\" value=\"true\"/></source>", read, error));
    EXPECT_NE(error.find("\"source\""), std::string::npos) << error;
    EXPECT_EQ(read.Value("cursor"), "false") << "a refused text leaves the record alone";
}

TEST(WindowCatalogue, ReadsThePluginsRecord) {
    const auto catalogue = qcphost::WindowCatalogue::Parse(R"(<?xml version="1.0" encoding="UTF-8"?>
<apps count="2">
  <app name="Notes" id="pid 4242" windows="2">
    <window name="Shopping list" id="pid 4242, window 1187" />
    <window name="Q&amp;A &lt;draft>" id="pid 4242, window 1190" />
  </app>
  <app name="Clock" id="pid 77" windows="0" />
</apps>
)");
    ASSERT_TRUE(catalogue.answered);
    ASSERT_EQ(catalogue.applications.size(), 2u);
    EXPECT_EQ(catalogue.applications[0].windows[1].title, "Q&A <draft>");
    EXPECT_EQ(catalogue.applications[0].windows[1].id, "pid 4242, window 1190");
    EXPECT_TRUE(catalogue.applications[1].windows.empty());
    EXPECT_TRUE(catalogue.Has("q&a <DRAFT>", "notes"));
    EXPECT_FALSE(catalogue.Has("Shopping list", "Clock"));
    EXPECT_FALSE(qcphost::WindowCatalogue::Parse("<apps><app name=\"x\"></apps>").answered);
}
