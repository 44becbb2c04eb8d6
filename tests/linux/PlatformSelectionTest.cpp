#include <gtest/gtest.h>

#include "PlatformSelection.h"

#include <cstdlib>

#include "TestDesktop.h"

using namespace qcp::platform;

namespace {

class PlatformSelectionTest : public LinuxDesktopTest {
protected:
    void SetUp() override {
        LinuxDesktopTest::SetUp();
        Install(nullptr);
    }
    void TearDown() override {
        Install(nullptr);
        unsetenv("QCP_PLATFORM");
        if (session) setenv("DISPLAY", session->display().c_str(), 1);
    }

    std::string Select(const char* requested) {
        if (requested)
            setenv("QCP_PLATFORM", requested, 1);
        else
            unsetenv("QCP_PLATFORM");
        std::string error;
        ok = SelectFromEnvironment(error);
        return error;
    }

    bool ok = false;
};

} // namespace

TEST_F(PlatformSelectionTest, TheNativePlatformIsX11WhenADisplayOpens) {
    EXPECT_EQ(Select(nullptr), "");
    EXPECT_TRUE(ok);
    EXPECT_EQ(Current()->Name(), "linux");
    Install(nullptr);
    EXPECT_EQ(Select("linux"), "");
    EXPECT_EQ(Current()->Name(), "linux");
}

TEST_F(PlatformSelectionTest, SimIsChosenByName) {
    EXPECT_EQ(Select("sim"), "");
    EXPECT_TRUE(ok);
    EXPECT_EQ(Current()->Name(), "sim");
}

TEST_F(PlatformSelectionTest, WithoutADisplayLinuxFallsBackToSimAndSaysWhy) {
    setenv("DISPLAY", ":4097", 1); // nothing listens there
    EXPECT_EQ(Select("linux"), "QCP_PLATFORM=linux is not available (cannot open X display \":4097\"); using sim");
    EXPECT_FALSE(ok);
    EXPECT_EQ(Current()->Name(), "sim");
    Install(nullptr);
    EXPECT_EQ(Select(nullptr), "the native platform is not available (cannot open X display \":4097\"); using sim");
    EXPECT_EQ(Current()->Name(), "sim");
}

TEST_F(PlatformSelectionTest, AnUnknownNameGetsTheNativePlatformAndAnError) {
    EXPECT_EQ(Select("beos"), "QCP_PLATFORM=beos is unknown; using linux");
    EXPECT_FALSE(ok);
    EXPECT_EQ(Current()->Name(), "linux");
}
