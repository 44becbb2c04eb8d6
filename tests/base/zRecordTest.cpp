#include "zRecord.h"

#include <gtest/gtest.h>

#include <climits>

namespace {
zRecord WithValue(const std::string& text) {
    zRecord record("parameter");
    record.SetText("value", text);
    return record;
}
} // namespace

TEST(zRecordBool, ReadsTheThreeSpellingsInAnyCase) {
    for (const char* text : {"true", "TRUE", "True", "yes", "YES", "1"}) {
        EXPECT_TRUE(WithValue(text).AsBool("value", false)) << text;
    }
    for (const char* text : {"false", "FALSE", "fAlSe", "no", "No", "0"}) {
        EXPECT_FALSE(WithValue(text).AsBool("value", true)) << text;
    }
}

TEST(zRecordBool, UnreadableOrMissingGivesTheDefault) {
    for (const char* text : {"", "2", "-1", "t", "y", "on", " true", "true ", "truex", "00"}) {
        EXPECT_TRUE(WithValue(text).AsBool("value", true)) << text;
        EXPECT_FALSE(WithValue(text).AsBool("value", false)) << text;
    }
    EXPECT_TRUE(zRecord("parameter").AsBool("value", true));
    EXPECT_FALSE(zRecord("parameter").AsBool("value", false));
}

TEST(zRecordBool, WritesTrueAndFalse) {
    zRecord record("parameter");
    record.SetBool("on", true);
    record.SetBool("off", false);
    EXPECT_EQ(record.AsText("on", ""), "true");
    EXPECT_EQ(record.AsText("off", ""), "false");
}

TEST(zRecordInt32, ReadsTheWholeRange) {
    EXPECT_EQ(WithValue("0").AsInt32("value", 7), 0);
    EXPECT_EQ(WithValue("-1").AsInt32("value", 7), -1);
    EXPECT_EQ(WithValue("-2147483648").AsInt32("value", 7), INT32_MIN);
    EXPECT_EQ(WithValue("2147483647").AsInt32("value", 7), INT32_MAX);
}

TEST(zRecordInt32, RejectsJunkAndOutOfRangeInsteadOfWrapping) {
    for (const char* text : {"", "-", "2147483648", "-2147483649", "4294967295", "99999999999999999999", "12abc",
                             " 12", "12 ", "+12", "0x10", "1.5", "1e3", "--1"}) {
        EXPECT_EQ(WithValue(text).AsInt32("value", -7), -7) << text;
    }
    EXPECT_EQ(zRecord("parameter").AsInt32("value", -7), -7);
}

TEST(zRecordInt32, WritesDecimalText) {
    zRecord record("parameter");
    record.SetInt32("value", INT32_MIN);
    EXPECT_EQ(record.AsText("value", ""), "-2147483648");
    EXPECT_EQ(record.AsInt32("value", 0), INT32_MIN);
}

TEST(zRecordUInt32, ReadsTheWholeRangeAndRejectsNegatives) {
    EXPECT_EQ(WithValue("4294967295").AsUInt32("value", 7), UINT32_MAX);
    EXPECT_EQ(WithValue("0").AsUInt32("value", 7), 0u);
    for (const char* text : {"-1", "-0", "4294967296", "", " 1", "1x", "+1"}) {
        EXPECT_EQ(WithValue(text).AsUInt32("value", 7), 7u) << text;
    }
    zRecord record("apps");
    record.SetUInt32("count", UINT32_MAX);
    EXPECT_EQ(record.AsText("count", ""), "4294967295");
}

TEST(zRecordText, MissingGivesTheDefaultButAnEmptyValueIsAValue) {
    zRecord record("parameter");
    EXPECT_EQ(record.AsText("name", "fallback"), "fallback");
    record.SetText("name", "");
    EXPECT_TRUE(record.HasField("name"));
    EXPECT_EQ(record.AsText("name", "fallback"), "");
}

TEST(zRecordRect, WritesAndReadsLeftTopRightBottom) {
    zRecord record("parameter");
    record.SetRect("value", zRect{1, -2, 300, 400});
    EXPECT_EQ(record.AsText("value", ""), "1,-2,300,400");
    EXPECT_EQ(record.AsRect("value", {}), (zRect{1, -2, 300, 400}));

    record.SetRect("value", zRect{});
    EXPECT_EQ(record.AsText("value", ""), "0,0,-1,-1");
    EXPECT_FALSE(record.AsRect("value", {5, 5, 9, 9}).HasArea());

    const zRect extremes{INT32_MIN, INT32_MAX, INT32_MAX, INT32_MIN};
    record.SetRect("value", extremes);
    EXPECT_EQ(record.AsRect("value", {}), extremes);
}

TEST(zRecordRect, UnreadableGivesTheDefault) {
    const zRect fallback{9, 8, 7, 6};
    for (const char* text : {"", "1,2,3", "1,2,3,4,", "1,2,3,4,5", ",1,2,3", "1, 2,3,4", "1,2,3,x", "1,,3,4",
                             "1,2,3,2147483648", "1;2;3;4"}) {
        EXPECT_EQ(WithValue(text).AsRect("value", fallback), fallback) << text;
    }
    EXPECT_EQ(zRecord("parameter").AsRect("value", fallback), fallback);
}

TEST(zRecordFields, KeepTheOrderOfFirstSettingAndReplaceInPlace) {
    zRecord record("parameter");
    record.SetText("name", "Type");
    record.SetInt32("value", 1);
    record.SetText("extra", "x");
    record.SetInt32("value", 2);
    record.SetText("name", "cursor");

    ASSERT_EQ(record.Fields().size(), 3u);
    EXPECT_EQ(record.Fields()[0], (zRecord::Field{"name", "cursor"}));
    EXPECT_EQ(record.Fields()[1], (zRecord::Field{"value", "2"}));
    EXPECT_EQ(record.Fields()[2], (zRecord::Field{"extra", "x"}));
    EXPECT_FALSE(record.HasField("Name")); // names are case-sensitive
}

TEST(zRecordChildren, StayInOrderAndTheReturnedReferenceStaysValid) {
    zRecord root("source");
    zRecord& first = root.AddChild("parameter");
    for (int i = 0; i < 100; ++i) root.AddChild("option").SetInt32("value", i);
    first.SetText("name", "capture_video"); // written through after many more children

    ASSERT_EQ(root.Children().size(), 101u);
    EXPECT_EQ(root.Children().front().AsText("name", ""), "capture_video");
    int expected = 0;
    for (auto it = std::next(root.Children().begin()); it != root.Children().end(); ++it) {
        EXPECT_EQ(it->AsInt32("value", -1), expected++);
    }
}

TEST(zRecordChildren, FindChildGivesTheFirstOfThatName) {
    zRecord root("apps");
    root.AddChild("app").SetText("name", "first");
    root.AddChild("app").SetText("name", "second");
    ASSERT_NE(root.FindChild("app"), nullptr);
    EXPECT_EQ(root.FindChild("app")->AsText("name", ""), "first");
    EXPECT_EQ(root.FindChild("window"), nullptr);

    root.FindChild("app")->SetUInt32("windows", 3);
    EXPECT_EQ(root.Children().front().AsUInt32("windows", 0), 3u);
}
