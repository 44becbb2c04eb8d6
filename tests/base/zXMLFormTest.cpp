// The three records that cross the host interface, in the exact text the host
// reads (docs/host-interface.md shows the same texts).
#include <gtest/gtest.h>

#include "zXML.h"

namespace {
zRecord SettingsRecord() {
    zRecord settings("settings");
    auto add = [&](const char* key) -> zRecord& {
        zRecord& parameter = settings.AddChild("parameter");
        parameter.SetText("name", key);
        return parameter;
    };
    add("Type").SetInt32("value", 1);
    add("cursor").SetBool("value", true);
    add("capture_audio").SetBool("value", false);
    add("capture_video").SetBool("value", true);
    add("capture_window").SetText("value", "Shopping list");
    add("capture_app").SetText("value", "Notes");
    add("capture_game_fullscreen").SetBool("value", false);
    add("capture_monitor").SetInt32("value", -1);
    add("capture_monitor_region").SetRect("value", zRect::FromOriginSize(100, 50, 640, 480));
    add("capture_monitor_state").SetInt32("value", 0);
    return settings;
}

zRecord ParameterListRecord() {
    zRecord source("source");
    source.AddChild("parameter").SetText("name", "capture_video");
    zRecord& type = source.AddChild("parameter");
    type.SetText("name", "Type");
    for (int32_t value : {0, 1, 2}) type.AddChild("option").SetInt32("value", value);
    source.AddChild("parameter").SetText("name", "cursor");
    source.AddChild("parameter").SetText("name", "capture_audio");
    return source;
}

zRecord AppsRecord() {
    zRecord apps("apps");
    apps.SetUInt32("count", 2);
    zRecord& notes = apps.AddChild("app");
    notes.SetText("name", "Notes");
    notes.SetText("id", "pid 4242");
    notes.SetUInt32("windows", 2);
    zRecord& list = notes.AddChild("window");
    list.SetText("name", "Shopping list");
    list.SetText("id", "pid 4242, window 1187");
    zRecord& draft = notes.AddChild("window");
    draft.SetText("name", "Draft <1> & \"2\"");
    draft.SetText("id", "pid 4242, window 1190");
    zRecord& clock = apps.AddChild("app");
    clock.SetText("name", "Clock");
    clock.SetText("id", "pid 77");
    clock.SetUInt32("windows", 0);
    return apps;
}

std::string Write(const zRecord& record) {
    zBuffer buffer;
    EXPECT_TRUE(zXML::RecordToBuffer(record, buffer));
    return std::string(buffer.View());
}
} // namespace

TEST(zXMLForm, SettingsRecordText) {
    EXPECT_EQ(Write(SettingsRecord()), R"(<?xml version="1.0" encoding="UTF-8"?>
<settings>
  <parameter name="Type" value="1" />
  <parameter name="cursor" value="true" />
  <parameter name="capture_audio" value="false" />
  <parameter name="capture_video" value="true" />
  <parameter name="capture_window" value="Shopping list" />
  <parameter name="capture_app" value="Notes" />
  <parameter name="capture_game_fullscreen" value="false" />
  <parameter name="capture_monitor" value="-1" />
  <parameter name="capture_monitor_region" value="100,50,739,529" />
  <parameter name="capture_monitor_state" value="0" />
</settings>
)");
}

TEST(zXMLForm, AppsRecordText) {
    EXPECT_EQ(Write(AppsRecord()), R"(<?xml version="1.0" encoding="UTF-8"?>
<apps count="2">
  <app name="Notes" id="pid 4242" windows="2">
    <window name="Shopping list" id="pid 4242, window 1187" />
    <window name="Draft &lt;1> &amp; &quot;2&quot;" id="pid 4242, window 1190" />
  </app>
  <app name="Clock" id="pid 77" windows="0" />
</apps>
)");
}

TEST(zXMLForm, TheThreeRecordsRoundTripExactly) {
    for (const zRecord& original : {SettingsRecord(), ParameterListRecord(), AppsRecord()}) {
        zRecord parsed;
        ASSERT_TRUE(zXML::ParseBuffer(Write(original), parsed)) << original.Name();
        EXPECT_EQ(parsed, original) << original.Name();
    }
}
