#include "zXML.h"

#include <gtest/gtest.h>

#include <random>

namespace {
zRecord Sentinel() {
    zRecord record("untouched");
    record.SetText("keep", "me");
    record.AddChild("child");
    return record;
}

bool RoundTrips(const zRecord& original) {
    zBuffer buffer;
    zRecord parsed;
    return zXML::RecordToBuffer(original, buffer) && zXML::ParseBuffer(buffer.View(), parsed) && parsed == original;
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

TEST(zXMLParse, SkipsPrologueCommentsTextInsideAndByteOrderMark) {
    zRecord record;
    ASSERT_TRUE(zXML::ParseBuffer("\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE settings>\n"
                                  "<!-- saved --><settings>stray text<parameter name=\"a\"/><?pi x?></settings>\n",
                                  record));
    EXPECT_EQ(record.Name(), "settings");
    ASSERT_EQ(record.Children().size(), 1u);
    EXPECT_EQ(record.Children().front().AsText("name", ""), "a");
}

TEST(zXMLParse, ReplacesAWholeRecordOnSuccess) {
    zRecord record = Sentinel();
    ASSERT_TRUE(zXML::ParseBuffer("<settings/>", record));
    EXPECT_EQ(record, zRecord("settings"));
}

TEST(zXMLParse, AttributeValuesFollowXMLWhitespaceRules) {
    // Raw line breaks and tabs in an attribute are spaces in XML; only the
    // character references keep them, and those are what the writer emits.
    zRecord record;
    ASSERT_TRUE(zXML::ParseBuffer("<a raw=\"1\n2\t3\" kept=\"1&#10;2&#9;3&#13;\"/>", record));
    EXPECT_EQ(record.AsText("raw", ""), "1 2 3");
    EXPECT_EQ(record.AsText("kept", ""), "1\n2\t3\r");
}

TEST(zXMLRoundTrip, TextsWithMarkupCharactersAndUTF8) {
    zRecord record("settings");
    zRecord& parameter = record.AddChild("parameter");
    parameter.SetText("name", "capture_window");
    parameter.SetText("value", R"(Say "hi" & 'bye' <b>bold</b> ]]> &amp; literally)");
    parameter.SetText("utf8", "Grüße — 窓 🎥");
    parameter.SetText("controls", "line\nbreak\r\ntab\tbell\x07 del\x7f");
    parameter.SetText("empty", "");
    parameter.SetText("spaces", "  leading and trailing  ");
    EXPECT_TRUE(RoundTrips(record));
}

TEST(zXMLRoundTrip, NamesAreKeptExactly) {
    zRecord record("Root.Name-1");
    record.SetText("ns:attr", "1");
    record.SetText("_under", "2");
    record.AddChild("Fenêtre").SetText("été", "3");
    record.AddChild("a").AddChild("b").AddChild("c");
    EXPECT_TRUE(RoundTrips(record));
}

TEST(zXMLRoundTrip, InvalidUTF8PassesThroughUnchanged) {
    zRecord record("a");
    record.SetText("v", "\xff\xfe\xc3\x28\xe2\x82");
    EXPECT_TRUE(RoundTrips(record));
}

TEST(zXMLWrite, AppendsToTheBufferWithoutBOM) {
    zBuffer buffer;
    buffer.Append("kept|");
    ASSERT_TRUE(zXML::RecordToBuffer(zRecord("settings"), buffer));
    EXPECT_EQ(buffer.View(), "kept|<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<settings />\n");
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

TEST(zXMLLarge, WideElementsAndLongValues) {
    std::string text = "<a";
    for (int i = 0; i < 50000; ++i) text += " f" + std::to_string(i) + "=\"" + std::to_string(i) + "\"";
    zRecord record;
    ASSERT_TRUE(zXML::ParseBuffer(text + "/>", record));
    ASSERT_EQ(record.Fields().size(), 50000u);
    EXPECT_EQ(record.Fields().back(), (zRecord::Field{"f49999", "49999"}));
    EXPECT_FALSE(zXML::ParseBuffer(text + " f123=\"again\"/>", record)); // a repeat far from its first

    zRecord big("a");
    big.SetText("v", std::string(8 << 20, '&'));
    EXPECT_TRUE(RoundTrips(big));
}

// Whatever the reader accepts, the writer must reproduce: any parsed record
// writes and parses back to itself. Seeded, so a failure repeats.
TEST(zXMLArbitraryBytes, NeverCrashAndAnythingAcceptedRoundTrips) {
    const std::string seed = "<?xml version=\"1.0\"?><settings><parameter name=\"Type\" value=\"0\"/>"
                             "<parameter name=\"w\" value=\"a&amp;b&#10;&quot;c\">t</parameter><!--c--></settings>";
    const char alphabet[] = "<>/=\"'&;#!?-[] \n\txa1\0\xff\xc3\xa9";
    std::mt19937 random(20240611);
    size_t accepted = 0;
    for (int iteration = 0; iteration < 20000; ++iteration) {
        std::string text;
        if (iteration % 4 == 0) {
            text.resize(random() % 64);
            for (char& c : text) c = char(random());
        } else {
            text = seed;
            for (int edits = 1 + random() % 4; edits > 0; --edits) {
                size_t at = random() % (text.size() + 1);
                char c = alphabet[random() % (sizeof alphabet - 1)];
                switch (random() % 3) {
                case 0: text.insert(at, 1, c); break;
                case 1: if (at < text.size()) text.erase(at, 1); break;
                default: if (at < text.size()) text[at] = c; break;
                }
            }
        }
        zRecord record;
        if (!zXML::ParseBuffer(text, record)) continue;
        ++accepted;
        ASSERT_TRUE(RoundTrips(record)) << text;
    }
    EXPECT_GT(accepted, 100u); // the mutations must reach the accepting paths too
}
