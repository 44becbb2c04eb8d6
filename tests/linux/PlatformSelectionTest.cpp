#include <gtest/gtest.h>

#include "PlatformSelection.h"

#include <cstdlib>

#include "TestDesktop.h"

using namespace qcp::platform;

namespace {

class PlatformSelectionTest : public LinuxDesktopTest {
protected:
    void TearDown() override {
        Install(nullptr);
        unsetenv("QCP_PLATFORM");
        if (session) setenv("DISPLAY", session->display().c_str(), 1);
    }

    // The error, and the platform chosen (afresh) for `requested`.
    std::string Select(const char* requested, bool expectOk) {
        Install(nullptr);
        if (requested)
            setenv("QCP_PLATFORM", requested, 1);
        else
            unsetenv("QCP_PLATFORM");
        std::string error;
        EXPECT_EQ(SelectFromEnvironment(error), expectOk) << (requested ? requested : "native");
        return error + " -> " + std::string(Current()->Name());
    }
};

} // namespace

TEST_F(PlatformSelectionTest, ChoosesByNameAndFallsBackWithAReason) {
    EXPECT_EQ(Select(nullptr, true), " -> linux");
    EXPECT_EQ(Select("linux", true), " -> linux");
    EXPECT_EQ(Select("sim", true), " -> sim");
    EXPECT_EQ(Select("beos", false), "QCP_PLATFORM=beos is unknown; using linux -> linux");

    setenv("DISPLAY", ":4097", 1); // nothing listens there
    EXPECT_EQ(Select("linux", false),
              "QCP_PLATFORM=linux is not available (cannot open X display \":4097\"); using sim -> sim");
    EXPECT_EQ(Select(nullptr, false),
              "the native platform is not available (cannot open X display \":4097\"); using sim -> sim");
}
