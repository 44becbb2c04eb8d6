#include <gtest/gtest.h>

#include "X11ErrorTrap.h"

#include "TestDesktop.h"
#include "X11Connection.h"

using namespace qcp::platform::x11;

namespace {

// No window has this id on a fresh server.
constexpr Window kBogus = 0x1FFFFF;

int gHostErrors = 0;
int HostHandler(Display*, XErrorEvent*) {
    ++gHostErrors;
    return 0;
}

class ErrorTrapTest : public LinuxDesktopTest {
protected:
    void SetUp() override {
        LinuxDesktopTest::SetUp();
        if (IsSkipped()) return;
        std::string error;
        connection = X11Connection::Open({}, error);
        ASSERT_TRUE(connection) << error;
        gHostErrors = 0;
    }
    std::unique_ptr<X11Connection> connection;
};

} // namespace

TEST_F(ErrorTrapTest, AnErrorUnderATrapIsRecordedAndTheProcessGoesOn) {
    X11ErrorTrap trap(connection->display());
    XWindowAttributes attributes{};
    EXPECT_FALSE(XGetWindowAttributes(connection->display(), kBogus, &attributes));
    EXPECT_EQ(trap.Sync(), BadWindow);
    EXPECT_EQ(trap.Sync(), Success);           // recording starts afresh
    XMapWindow(connection->display(), kBogus); // no reply: found by the round trip
    EXPECT_EQ(trap.Sync(), BadWindow);
}

TEST_F(ErrorTrapTest, TheHostsHandlerKeepsItsOwnConnectionsErrorsAndIsPutBack) {
    XSetErrorHandler(&HostHandler);
    Display* hostDisplay = desktop->display(); // a connection the plug-in did not open
    {
        X11ErrorTrap trap(connection->display());
        XMapWindow(hostDisplay, kBogus);
        XSync(hostDisplay, False);
        EXPECT_EQ(gHostErrors, 1);
        XMapWindow(connection->display(), kBogus);
        EXPECT_EQ(trap.Sync(), BadWindow);
        EXPECT_EQ(gHostErrors, 1);
    }
    EXPECT_EQ(XSetErrorHandler(nullptr), &HostHandler);
}

TEST_F(ErrorTrapTest, AnErrorBelongsToTheInnermostTrapSetBeforeItsRequest) {
    X11ErrorTrap outer(connection->display());
    XMapWindow(connection->display(), kBogus); // not answered yet
    {
        X11ErrorTrap inner(connection->display());
        XWindowAttributes attributes{};
        EXPECT_TRUE(XGetWindowAttributes(connection->display(), DefaultRootWindow(connection->display()), &attributes));
        EXPECT_EQ(inner.Sync(), Success);
    }
    EXPECT_EQ(outer.Sync(), BadWindow);
}
