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

TEST(zRecord, BooleansAndIntegersReadOnlyWellFormedTextElseTheDefault) {
    for (const char* text : {"true", "TRUE", "True", "yes", "YES", "1"})
        EXPECT_TRUE(WithValue(text).AsBool("value", false)) << text;
    for (const char* text : {"false", "FALSE", "fAlSe", "no", "No", "0"})
        EXPECT_FALSE(WithValue(text).AsBool("value", true)) << text;
    for (const char* text : {"", "2", "-1", "t", "on", " true", "true ", "truex", "00"}) {
        EXPECT_TRUE(WithValue(text).AsBool("value", true)) << text;
        EXPECT_FALSE(WithValue(text).AsBool("value", false)) << text;
    }

    EXPECT_EQ(WithValue("-2147483648").AsInt32("value", 7), INT32_MIN);
    EXPECT_EQ(WithValue("2147483647").AsInt32("value", 7), INT32_MAX);
    for (const char* text : {"", "-", "2147483648", "-2147483649", "99999999999999999999", "12abc", " 12", "12 ",
                             "+12", "0x10", "1.5", "1e3", "--1"})
        EXPECT_EQ(WithValue(text).AsInt32("value", -7), -7) << text; // never wrapped
    EXPECT_EQ(WithValue("4294967295").AsUInt32("value", 7), UINT32_MAX);
    for (const char* text : {"-1", "-0", "4294967296", "+1", "1x"})
        EXPECT_EQ(WithValue(text).AsUInt32("value", 7), 7u) << text;

    const zRecord missing("parameter");
    EXPECT_TRUE(missing.AsBool("value", true));
    EXPECT_EQ(missing.AsInt32("value", -7), -7);
    EXPECT_EQ(missing.AsUInt32("value", 7), 7u);
}

TEST(zRecord, RectanglesAndTextsReadWithTheirDefaults) {
    const zRect fallback{9, 8, 7, 6};
    const zRect extremes{INT32_MIN, INT32_MAX, INT32_MAX, INT32_MIN};
    zRecord record("parameter");
    record.SetRect("value", extremes);
    EXPECT_EQ(record.AsRect("value", fallback), extremes);
    for (const char* text : {"", "1,2,3", "1,2,3,4,", "1,2,3,4,5", ",1,2,3", "1, 2,3,4", "1,2,3,x", "1,,3,4",
                             "1,2,3,2147483648", "1;2;3;4"})
        EXPECT_EQ(WithValue(text).AsRect("value", fallback), fallback) << text;
    EXPECT_EQ(zRecord("parameter").AsRect("value", fallback), fallback);

    // Missing gives the default, but an empty text is a value.
    EXPECT_EQ(zRecord("parameter").AsText("value", "fallback"), "fallback");
    EXPECT_EQ(WithValue("").AsText("value", "fallback"), "");
}
