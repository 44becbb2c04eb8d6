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

TEST_F(HostServices, WithoutATranslatorTheKeyItselfStands) {
    const char* key = "obr_capture_name";
    EXPECT_EQ(CSDK::TranslateString(key), nullptr); // no services yet
    CSDK::initialize();
    EXPECT_EQ(CSDK::TranslateString(key), key);
}

TEST_F(HostServices, ATranslatorRegisteredBeforeInitialisationIsKept) {
    CSDK::registerLocalizeStringCallback(&HostTranslate);
    ASSERT_TRUE(CSDK::isInitialized());
    if (!CSDK::isInitialized()) CSDK::initialize(); // as the library's initialisation does
    EXPECT_STREQ(CSDK::TranslateString("obr_capture_name"), "Screen Capture");

    CSDK::registerLocalizeStringCallback(nullptr);
    const char* key = "dialog_ok";
    EXPECT_EQ(CSDK::TranslateString(key), key);

    CSDK::uninitialize();
    EXPECT_FALSE(CSDK::isInitialized());
    EXPECT_EQ(CSDK::TranslateString(key), nullptr);
}

TEST_F(HostServices, PreferencesNeedGetSetAndContext) {
    CSDK::initialize();
    EXPECT_FALSE(CSDK::isPreferencesRegistered());
    CSDK::registerPreferenceCallback(&HostGet, &HostSet, nullptr);
    EXPECT_FALSE(CSDK::isPreferencesRegistered());
    CSDK::registerPreferenceCallback(&HostGet, nullptr, &gHost);
    EXPECT_FALSE(CSDK::isPreferencesRegistered());
    EXPECT_FALSE(CSDK::setPreferences("key", "value"));
    char* value = nullptr;
    EXPECT_FALSE(CSDK::getPreferences("key", value, nullptr));
    EXPECT_EQ(gHost.sizeQueries + gHost.sets, 0);

    RegisterHost();
    EXPECT_TRUE(CSDK::isPreferencesRegistered());
}

TEST_F(HostServices, ReadsAValueOfTheReportedLength) {
    RegisterHost(); // creates the services itself
    gHost.values["lastWindow"] = "Terminal";
    char* value = nullptr;
    int length = -1;
    ASSERT_TRUE(CSDK::getPreferences("lastWindow", value, &length));
    EXPECT_EQ(length, 8);
    EXPECT_STREQ(value, "Terminal");
    EXPECT_EQ(gHost.sizeQueries, 1);
    EXPECT_EQ(gHost.fills, 1);
    std::free(value);

    value = nullptr;
    ASSERT_TRUE(CSDK::getPreferences("lastWindow", value, nullptr));
    EXPECT_STREQ(value, "Terminal");
    std::free(value);
}

TEST_F(HostServices, AnEmptyValueReadsAsMissingAndAllocatesNothing) {
    RegisterHost();
    gHost.values["empty"] = "";
    char sentinel = 0;
    char* value = &sentinel;
    int length = 77;
    EXPECT_FALSE(CSDK::getPreferences("empty", value, &length));
    EXPECT_EQ(value, &sentinel);
    EXPECT_EQ(length, 77);
    EXPECT_EQ(gHost.sizeQueries, 1);
    EXPECT_EQ(gHost.fills, 0);
}

TEST_F(HostServices, WritesGoToTheHostAndRemovalIsRefused) {
    RegisterHost();
    EXPECT_FALSE(CSDK::setPreferences("key", nullptr));
    EXPECT_EQ(gHost.sets, 0);
    EXPECT_TRUE(CSDK::setPreferences("key", "value"));
    EXPECT_EQ(gHost.values["key"], "value");
    EXPECT_FALSE(CSDK::removePreferences("key"));
    EXPECT_EQ(gHost.values["key"], "value");
}

TEST_F(HostServices, NothingWorksOnceTheServicesAreGone) {
    RegisterHost();
    gHost.values["key"] = "value";
    CSDK::uninitialize();
    char* value = nullptr;
    EXPECT_FALSE(CSDK::isPreferencesRegistered());
    EXPECT_FALSE(CSDK::getPreferences("key", value, nullptr));
    EXPECT_FALSE(CSDK::setPreferences("key", "other"));
    EXPECT_FALSE(CSDK::removePreferences("key"));
    EXPECT_EQ(value, nullptr);
    EXPECT_EQ(gHost.sizeQueries + gHost.fills + gHost.sets, 0);
}

// A host whose callbacks use the same service again on the same thread, as a
// host that migrates an old preference while it is being read.
void MigratingGet(void* context, const char* key, char* buffer, int* length) {
    if (std::strcmp(key, "old") == 0 && !buffer) {
        char* current = nullptr;
        if (CSDK::getPreferences("new", current, nullptr)) {
            CSDK::setPreferences("old", current);
            std::free(current);
        }
    }
    HostGet(context, key, buffer, length);
}

const char* NestedTranslate(const char* key) {
    return std::strcmp(key, "outer") == 0 ? CSDK::TranslateString("inner") : key;
}

TEST_F(HostServices, HostCallbacksMayReenterTheSameService) {
    CSDK::registerPreferenceCallback(&MigratingGet, &HostSet, &gHost);
    gHost.values["new"] = "migrated";
    char* value = nullptr;
    ASSERT_TRUE(CSDK::getPreferences("old", value, nullptr));
    EXPECT_STREQ(value, "migrated");
    std::free(value);

    CSDK::registerLocalizeStringCallback(&NestedTranslate);
    EXPECT_STREQ(CSDK::TranslateString("outer"), "inner");
}

} // namespace
