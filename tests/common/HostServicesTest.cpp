#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

#include "CommonSDKVariables.h"

namespace {

// The host's preference store: the values and how it was called.
struct HostPreferences {
    std::map<std::string, std::string> values;
    int sizeQueries = 0;
    int fills = 0;
    int sets = 0;
};
HostPreferences gHost;

void HostGet(void* context, const char* key, char* buffer, int* length) {
    auto& host = *static_cast<HostPreferences*>(context);
    const auto found = host.values.find(key);
    const std::string value = found == host.values.end() ? std::string() : found->second;
    if (!buffer) {
        ++host.sizeQueries;
        *length = int(value.size());
        return;
    }
    ++host.fills;
    std::memcpy(buffer, value.data(), size_t(*length));
}

void HostSet(void* context, const char* key, const char* value) {
    auto& host = *static_cast<HostPreferences*>(context);
    ++host.sets;
    host.values[key] = value;
}

const char* HostTranslate(const char* key) {
    return std::strcmp(key, "obr_capture_name") == 0 ? "Screen Capture" : "untranslated";
}

class HostServices : public testing::Test {
protected:
    void SetUp() override {
        Destroy();
        gHost = {};
    }
    void TearDown() override { Destroy(); }
    static void Destroy() {
        while (CSDK::isInitialized()) CSDK::uninitialize();
    }
    static void RegisterHost() { CSDK::registerPreferenceCallback(&HostGet, &HostSet, &gHost); }
};

TEST_F(HostServices, EachExtraInitialisationNeedsItsOwnUninitialisation) {
    CSDK::initialize();
    CSDK::initialize();
    CSDK::uninitialize();
    EXPECT_TRUE(CSDK::isInitialized());
    CSDK::uninitialize();
    EXPECT_FALSE(CSDK::isInitialized());
    CSDK::uninitialize(); // nothing left to undo
    EXPECT_FALSE(CSDK::isInitialized());
}

TEST_F(HostServices, ATranslatorRegisteredBeforeInitialisationIsKept) {
    const char* key = "dialog_ok";
    EXPECT_EQ(CSDK::TranslateString(key), nullptr); // no services yet
    CSDK::registerLocalizeStringCallback(&HostTranslate);
    ASSERT_TRUE(CSDK::isInitialized());
    if (!CSDK::isInitialized()) CSDK::initialize(); // as the library's initialisation does
    EXPECT_STREQ(CSDK::TranslateString("obr_capture_name"), "Screen Capture");

    CSDK::registerLocalizeStringCallback(nullptr);
    EXPECT_EQ(CSDK::TranslateString(key), key); // without a translator the key itself stands
    CSDK::uninitialize();
    EXPECT_EQ(CSDK::TranslateString(key), nullptr);
}

TEST_F(HostServices, ReadsAValueOfTheReportedLengthAndAnEmptyOneAsMissing) {
    RegisterHost(); // creates the services itself
    gHost.values["lastWindow"] = "Terminal";
    gHost.values["empty"] = "";
    char* value = nullptr;
    int length = -1;
    ASSERT_TRUE(CSDK::getPreferences("lastWindow", value, &length));
    EXPECT_EQ(length, 8);
    EXPECT_STREQ(value, "Terminal");
    EXPECT_EQ(gHost.sizeQueries, 1);
    EXPECT_EQ(gHost.fills, 1);
    std::free(value);

    char sentinel = 0;
    value = &sentinel;
    length = 77;
    EXPECT_FALSE(CSDK::getPreferences("empty", value, &length));
    EXPECT_EQ(value, &sentinel); // nothing allocated
    EXPECT_EQ(length, 77);
    EXPECT_EQ(gHost.sizeQueries, 2);
    EXPECT_EQ(gHost.fills, 1);
}

TEST_F(HostServices, WritesGoToTheHostButNullValuesAndRemovalAreRefused) {
    RegisterHost();
    EXPECT_FALSE(CSDK::setPreferences("key", nullptr));
    EXPECT_EQ(gHost.sets, 0);
    EXPECT_TRUE(CSDK::setPreferences("key", "value"));
    EXPECT_EQ(gHost.values["key"], "value");
    EXPECT_FALSE(CSDK::removePreferences("key"));
    EXPECT_EQ(gHost.values["key"], "value");
}

// The host's callbacks run under the service's lock and may use the same
// service again on that thread, as a host that migrates an old key does.
void MigratingGet(void* context, const char* key, char* buffer, int* length) {
    char* current = nullptr;
    if (std::strcmp(key, "old") == 0 && !buffer && CSDK::getPreferences("new", current, nullptr)) {
        CSDK::setPreferences("old", current);
        std::free(current);
    }
    HostGet(context, key, buffer, length);
}

TEST_F(HostServices, HostCallbacksMayReenterTheSameService) {
    CSDK::registerPreferenceCallback(&MigratingGet, &HostSet, &gHost);
    gHost.values["new"] = "migrated";
    char* value = nullptr;
    ASSERT_TRUE(CSDK::getPreferences("old", value, nullptr));
    EXPECT_STREQ(value, "migrated");
    std::free(value);
}

} // namespace
