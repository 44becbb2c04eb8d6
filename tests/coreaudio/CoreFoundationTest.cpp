// The CoreFoundation subset: the string comparisons the driver check relies
// on, ownership, and the collections the aggregate description is built of.
#include <gtest/gtest.h>

#include <CoreFoundation/CoreFoundation.h>

namespace {

CFStringRef Make(const char* text) { return CFStringCreateWithCString(kCFAllocatorDefault, text, kCFStringEncodingUTF8); }

CFComparisonResult Compare(const char* a, const char* b, CFStringCompareFlags flags) {
    CFStringRef x = Make(a), y = Make(b);
    const CFComparisonResult result = CFStringCompare(x, y, flags);
    CFRelease(x);
    CFRelease(y);
    return result;
}

TEST(CoreFoundationStrings, NumericComparisonOrdersVersionsByValue) {
    EXPECT_EQ(Compare("1.0.10", "1.0.3", kCFCompareNumerically), kCFCompareGreaterThan);
    EXPECT_EQ(Compare("1.0.2", "1.0.3", kCFCompareNumerically), kCFCompareLessThan);
    EXPECT_EQ(Compare("1.0.3", "1.0.3", kCFCompareNumerically), kCFCompareEqualTo);
    EXPECT_EQ(Compare("1.0", "1.0.3", kCFCompareNumerically), kCFCompareLessThan);
    EXPECT_EQ(Compare("1.0.10", "1.0.3", 0), kCFCompareLessThan) << "byte by byte without the option";
    EXPECT_EQ(Compare("Speakers", "speakers", kCFCompareCaseInsensitive), kCFCompareEqualTo);
}

TEST(CoreFoundationStrings, TextIsCheckedAndCopiedOutWhole) {
    EXPECT_EQ(Make("\xff\xfe"), nullptr) << "not UTF-8";
    EXPECT_EQ(Make(nullptr), nullptr);
    CFStringRef string = Make("Lautsprecher \xc3\xbc");
    ASSERT_NE(string, nullptr);
    EXPECT_STREQ(CFStringGetCStringPtr(string, kCFStringEncodingUTF8), "Lautsprecher \xc3\xbc");
    EXPECT_EQ(CFStringGetCStringPtr(string, kCFStringEncodingASCII), nullptr);
    EXPECT_EQ(CFStringGetLength(string), 14);
    char small[14];
    EXPECT_FALSE(CFStringGetCString(string, small, sizeof small, kCFStringEncodingUTF8));
    char enough[16];
    ASSERT_TRUE(CFStringGetCString(string, enough, sizeof enough, kCFStringEncodingUTF8));
    EXPECT_STREQ(enough, "Lautsprecher \xc3\xbc");
    CFRelease(string);
}

TEST(CoreFoundationCollections, HoldTheirValuesUntilReleased) {
    CFStringRef key = Make("uid");
    CFStringRef first = Make("first");
    CFStringRef second = Make("second");
    CFMutableDictionaryRef dictionary =
        CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    CFDictionarySetValue(dictionary, key, first);
    EXPECT_EQ(CFGetRetainCount(first), 2);
    CFStringRef equalKey = Make("uid");
    CFDictionarySetValue(dictionary, equalKey, second);
    EXPECT_EQ(CFDictionaryGetCount(dictionary), 1) << "keys compare by text";
    EXPECT_EQ(CFGetRetainCount(first), 1) << "the replaced value is released";
    EXPECT_EQ(CFDictionaryGetValue(dictionary, key), second);

    CFMutableArrayRef array = CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks);
    CFArrayAppendValue(array, second);
    EXPECT_EQ(CFGetRetainCount(second), 3);
    CFRelease(dictionary);
    CFRelease(array);
    EXPECT_EQ(CFGetRetainCount(second), 1);
    EXPECT_EQ(CFGetRetainCount(key), 1);
    for (CFStringRef string : {key, equalKey, first, second}) CFRelease(string);

    EXPECT_TRUE(CFBooleanGetValue(kCFBooleanTrue));
    EXPECT_FALSE(CFBooleanGetValue(kCFBooleanFalse));
}

} // namespace
