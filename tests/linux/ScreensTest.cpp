#include <gtest/gtest.h>

#include <X11/Xatom.h>
#include <X11/extensions/Xrandr.h>

#include "ManualClock.h"
#include "TestDesktop.h"
#include "X11Monitors.h"

using namespace qcp::platform;

using ScreensTest = LinuxDesktopTest;

TEST_F(ScreensTest, TheXvfbScreenIsNamedByItsOutputAndAPrimaryMonitorBecomesTheOriginOfFramesAndMouse) {
    XRRScreenResources* resources = XRRGetScreenResourcesCurrent(desktop->display(), desktop->root());
    ASSERT_TRUE(resources && resources->noutput > 0);
    const RROutput output = resources->outputs[0];
    XRRFreeScreenResources(resources);
    std::vector<ScreenInfo> screens = platform->screens().list();
    ASSERT_EQ(screens.size(), 1u);
    EXPECT_EQ(screens[0].displayID, output);
    EXPECT_EQ(screens[0].frame, (Rect{0, 0, 1920, 1080}));
    EXPECT_EQ(screens[0].backingScale, 1.0);
    EXPECT_EQ(screens[0].productName, "screen"); // Xvfb's output has no EDID

    // A second monitor made of no output, primary: the main screen from now on.
    const Atom side = XInternAtom(desktop->display(), "SIDE", False);
    XRRMonitorInfo* monitor = XRRAllocateMonitor(desktop->display(), 0);
    *monitor = {side, True, False, 0, 1000, 100, 920, 500, 300, 160, nullptr};
    XRRSetMonitor(desktop->display(), desktop->root(), monitor);
    XRRFreeMonitors(monitor);
    XWarpPointer(desktop->display(), None, desktop->root(), 0, 0, 0, 0, 1300, 400);
    XSync(desktop->display(), False);
    screens = platform->screens().list();
    // The mouse from the new main screen's bottom-left, whether asked alone
    // or with the list (one question to the server), which is the same list.
    std::vector<ScreenInfo> withMouse;
    const Point mouse = platform->screensAndMouse(withMouse);
    const Point alone = platform->cursor().mouseLocation();
    XRRDeleteMonitor(desktop->display(), desktop->root(), side);
    XSync(desktop->display(), False);
    ASSERT_EQ(screens.size(), 2u);
    EXPECT_EQ(screens[0].displayID, side);
    EXPECT_EQ(screens[0].productName, "SIDE");
    EXPECT_EQ(screens[0].frame, (Rect{0, 0, 920, 500}));
    // The Xvfb screen seen from the side monitor's bottom-left corner, y up.
    EXPECT_EQ(screens[1].displayID, output);
    EXPECT_EQ(screens[1].frame, (Rect{-1000, -480, 1920, 1080}));
    EXPECT_EQ(mouse, (Point{300, 200}));
    EXPECT_EQ(alone, (Point{300, 200}));
    ASSERT_EQ(withMouse.size(), 2u);
    for (size_t i = 0; i < 2; ++i) {
        EXPECT_EQ(withMouse[i].displayID, screens[i].displayID);
        EXPECT_EQ(withMouse[i].frame, screens[i].frame);
        EXPECT_EQ(withMouse[i].productName, screens[i].productName);
    }
    EXPECT_EQ(platform->screens().list().size(), 1u);
}

TEST_F(ScreensTest, TheCursorsQuestionAsksForThePointerEveryTimeAndForTheMonitorsWhenTheyMayHaveChanged) {
    ManualClock clock;
    Display* display = desktop->display();
    std::vector<ScreenInfo> screens;
    platform->screensAndMouse(screens);
    ASSERT_EQ(screens.size(), 1u);

    // A monitor a client sets comes without a report; the pointer is always asked.
    const Atom side = XInternAtom(display, "SIDE", False);
    XRRMonitorInfo* monitor = XRRAllocateMonitor(display, 0);
    *monitor = {side, False, False, 0, 0, 0, 100, 100, 30, 30, nullptr};
    XRRSetMonitor(display, desktop->root(), monitor);
    XRRFreeMonitors(monitor);
    XWarpPointer(display, None, desktop->root(), 0, 0, 0, 0, 10, 20);
    XSync(display, False);
    EXPECT_EQ(platform->screensAndMouse(screens), (Point{10, 1060}));
    clock.Advance(qcp::platform::x11::X11Monitors::kUnreportedChangeMicros);
    platform->screensAndMouse(screens);
    EXPECT_EQ(screens.size(), 2u) << "a monitor a client set was not seen within the time allowed";

    // A reported change (here an output's property) is seen at once.
    XRRDeleteMonitor(display, desktop->root(), side);
    XRRScreenResources* resources = XRRGetScreenResourcesCurrent(display, desktop->root());
    ASSERT_TRUE(resources && resources->noutput > 0);
    const unsigned char value = 1;
    XRRChangeOutputProperty(display, resources->outputs[0], XInternAtom(display, "QCP_TEST", False), XA_INTEGER, 8,
                            PropModeReplace, &value, 1);
    XRRFreeScreenResources(resources);
    XSync(display, False);
    platform->screensAndMouse(screens);
    EXPECT_EQ(screens.size(), 1u) << "a reported change was not seen at once";
}
