#include <gtest/gtest.h>

#include <X11/Xlib-xcb.h>

#include <cstdlib>

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

} // namespace

using ErrorTrapTest = LinuxDesktopTest;

TEST_F(ErrorTrapTest, ATrapRecordsItsConnectionsErrorsAndLeavesTheHostsHandlerTheRest) {
    std::string error;
    const std::unique_ptr<X11Connection> connection = OpenConnection(session->display(), error);
    ASSERT_TRUE(connection) << error;
    Display* own = connection->display();
    Display* hostDisplay = desktop->display(); // a connection the plug-in did not open
    XSetErrorHandler(&HostHandler);
    gHostErrors = 0;
    {
        X11ErrorTrap trap(own);
        XWindowAttributes attributes{};
        EXPECT_FALSE(XGetWindowAttributes(own, kBogus, &attributes));
        EXPECT_EQ(trap.Sync(), BadWindow);
        EXPECT_EQ(trap.Sync(), Success); // recording starts afresh
        XMapWindow(own, kBogus);         // not answered yet
        {
            // An error belongs to the innermost trap set before its request.
            X11ErrorTrap inner(own);
            EXPECT_TRUE(XGetWindowAttributes(own, DefaultRootWindow(own), &attributes));
            EXPECT_EQ(inner.Sync(), Success);
        }
        EXPECT_EQ(trap.Sync(), BadWindow);

        XMapWindow(hostDisplay, kBogus);
        XSync(hostDisplay, False);
        EXPECT_EQ(gHostErrors, 1);
    }
    EXPECT_EQ(XSetErrorHandler(nullptr), &HostHandler);
}

TEST_F(ErrorTrapTest, ATrapWaitsOnlyForTheRequestsMadeUnderIt) {
    std::string error;
    const std::unique_ptr<X11Connection> connection = OpenConnection(session->display(), error);
    ASSERT_TRUE(connection) << error;
    Display* own = connection->display();
    // A round trip over XCB, then a look at Xlib's queue: Xlib counts the
    // request but never saw it answered, as after every pass of the cursor.
    xcb_connection_t* xcb = XGetXCBConnection(own);
    std::free(xcb_query_pointer_reply(xcb, xcb_query_pointer(xcb, DefaultRootWindow(own)), nullptr));
    XEventsQueued(own, QueuedAlready);
    const unsigned long next = XNextRequest(own);
    { X11ErrorTrap idle(own); }
    EXPECT_EQ(XNextRequest(own), next) << "a trap with nothing to wait for synced";

    X11ErrorTrap trap(own);
    XMapWindow(own, kBogus);
    EXPECT_EQ(trap.Sync(), BadWindow);
}
