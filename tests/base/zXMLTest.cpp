#include "zXML.h"

#include <gtest/gtest.h>

namespace {
zRecord Sentinel() {
    zRecord record("untouched");
    record.SetText("keep", "me");
    record.AddChild("child");
    return record;
}

std::string Nested(size_t depth) {
    std::string text;
    for (size_t i = 0; i < depth; ++i) text += "<a>";
    for (size_t i = 0; i < depth; ++i) text += "</a>";
    return text;
}
} // namespace

TEST(zXMLParse, RefusesMalformedTextAndLeavesTheRecordUntouched) {
    const std::string_view cases[] = {
        "",
        "   \n",
        "not xml",
        "<?xml version=\"1.0\"?>",               // no root element
        "<!-- only a comment -->",
        "<settings>",                            // unclosed
        "<settings></parameter>",
        "<settings><parameter></settings>",
        "<a/><b/>",                              // two roots
        "text<a/>",                              // text beside the root
        "<a/>text",
        "<a x=\"1\" x=\"2\"/>",                  // repeated attribute
        "<a x=1/>",                              // unquoted value
        "<a x=\"1/>",
        "<1a/>",
        "<a b/>",
        std::string_view("<a/>\0<b/>", 9),       // a NUL would hide the rest from the parser
        std::string_view("<a x=\"\0\"/>", 10),
    };
    for (std::string_view text : cases) {
        zRecord record = Sentinel();
        EXPECT_FALSE(zXML::ParseBuffer(text, record)) << text;
        EXPECT_EQ(record, Sentinel()) << text;
    }
}

TEST(zXMLParse, AcceptsWhatSavedOrHandWrittenFilesHoldAndReplacesTheRecord) {
    zRecord record = Sentinel();
    ASSERT_TRUE(zXML::ParseBuffer("\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE settings>\n"
                                  "<!-- saved --><settings>stray text<parameter name='cursor' value='NO'/><?pi x?>\r\n"
                                  "<parameter\tname=\"Type\"   value=\"2\"></parameter></settings>\n",
                                  record));
    zRecord expected("settings");
    zRecord& cursor = expected.AddChild("parameter");
    cursor.SetText("name", "cursor");
    cursor.SetText("value", "NO");
    zRecord& type = expected.AddChild("parameter");
    type.SetText("name", "Type");
    type.SetText("value", "2");
    EXPECT_EQ(record, expected);
}

TEST(zXMLRoundTrip, EscapesMarkupControlsAndKeepsAnyBytes) {
    zRecord record("settings");
    zRecord& parameter = record.AddChild("parameter");
    parameter.SetText("name", "capture_window");
    parameter.SetText("value", R"(Say "hi" & 'bye' <b>bold</b> ]]> &amp; literally)");
    parameter.SetText("utf8", "Grüße — 窓 🎥");
    parameter.SetText("invalid", "\xff\xfe\xc3\x28\xe2\x82");
    parameter.SetText("controls", "line\nbreak\r\ntab\tbell\x07 del\x7f");
    parameter.SetText("spaces", "  leading and trailing  ");
    parameter.SetText("empty", "");
    zBuffer buffer;
    zRecord parsed;
    ASSERT_TRUE(zXML::RecordToBuffer(record, buffer));
    ASSERT_TRUE(zXML::ParseBuffer(buffer.View(), parsed)) << buffer.View();
    EXPECT_EQ(parsed, record);
}

TEST(zXMLWrite, RefusesWhatXMLCannotCarryAndLeavesTheBufferUntouched) {
    std::vector<zRecord> unwritable;
    unwritable.emplace_back("");
    unwritable.emplace_back("two words");
    unwritable.emplace_back("1st");
    unwritable.emplace_back("a<b");
    unwritable.emplace_back("settings").SetText("bad name", "x");
    unwritable.emplace_back("settings").SetText("", "x");
    unwritable.emplace_back("settings").SetText("v", std::string("a\0b", 3));
    unwritable.emplace_back("settings").AddChild("ok").AddChild("no/slash");
    for (const zRecord& record : unwritable) {
        zBuffer buffer;
        buffer.Append("before");
        EXPECT_FALSE(zXML::RecordToBuffer(record, buffer)) << record.Name();
        EXPECT_EQ(buffer.View(), "before") << record.Name();
    }
}

TEST(zXMLDepth, ReadsAndWritesUpToTheLimitOnly) {
    zRecord record;
    EXPECT_TRUE(zXML::ParseBuffer(Nested(zXML::kMaxDepth), record));
    EXPECT_FALSE(zXML::ParseBuffer(Nested(zXML::kMaxDepth + 1), record));
    EXPECT_FALSE(zXML::ParseBuffer(Nested(200000), record)); // must not exhaust the stack

    zRecord deep("a");
    zRecord* leaf = &deep;
    for (size_t depth = 1; depth < zXML::kMaxDepth; ++depth) leaf = &leaf->AddChild("a");
    zBuffer buffer;
    EXPECT_TRUE(zXML::RecordToBuffer(deep, buffer));
    leaf->AddChild("a");
    zBuffer refused;
    EXPECT_FALSE(zXML::RecordToBuffer(deep, refused));
    EXPECT_TRUE(refused.Empty());
}
