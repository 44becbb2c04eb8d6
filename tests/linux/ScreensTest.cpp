#include <gtest/gtest.h>

#include <X11/Xatom.h>
#include <X11/extensions/Xrandr.h>

#include <array>
#include <cstring>

#include "TestDesktop.h"

using namespace qcp::platform;

namespace {

class ScreensTest : public LinuxDesktopTest {
protected:
    void TearDown() override {
        if (sideAdded) {
            XRRDeleteMonitor(desktop->display(), desktop->root(), XInternAtom(desktop->display(), "SIDE", False));
            XSync(desktop->display(), False);
        }
    }

    RROutput XvfbOutput() const {
        XRRScreenResources* resources = XRRGetScreenResourcesCurrent(desktop->display(), desktop->root());
        const RROutput output = resources && resources->noutput > 0 ? resources->outputs[0] : None;
        if (resources) XRRFreeScreenResources(resources);
        return output;
    }

    // A second monitor made of no output, primary: it becomes the main screen.
    void AddPrimarySideMonitor() {
        XRRMonitorInfo* monitor = XRRAllocateMonitor(desktop->display(), 0);
        monitor->name = XInternAtom(desktop->display(), "SIDE", False);
        monitor->primary = True;
        monitor->x = 1000;
        monitor->y = 100;
        monitor->width = 920;
        monitor->height = 500;
        monitor->mwidth = 300;
        monitor->mheight = 160;
        XRRSetMonitor(desktop->display(), desktop->root(), monitor);
        XRRFreeMonitors(monitor);
        XSync(desktop->display(), False);
        sideAdded = true;
    }

    bool sideAdded = false;
};

} // namespace

TEST_F(ScreensTest, TheXvfbScreenIsTheMainScreenNamedByItsOutput) {
    const std::vector<ScreenInfo> screens = platform->screens().list();
    ASSERT_EQ(screens.size(), 1u);
    EXPECT_EQ(screens[0].displayID, XvfbOutput());
    EXPECT_NE(screens[0].displayID, 0u);
    EXPECT_EQ(screens[0].frame, (Rect{0, 0, 1920, 1080}));
    EXPECT_EQ(screens[0].backingScale, 1.0);
    EXPECT_EQ(screens[0].productName, "screen"); // Xvfb's output has no EDID
}

TEST_F(ScreensTest, AMonitorAddedOrRemovedIsSeenAtTheNextCallThePrimaryFirst) {
    ASSERT_EQ(platform->screens().list().size(), 1u);
    AddPrimarySideMonitor();
    std::vector<ScreenInfo> screens = platform->screens().list();
    ASSERT_EQ(screens.size(), 2u);
    EXPECT_EQ(screens[0].displayID, XInternAtom(desktop->display(), "SIDE", False));
    EXPECT_EQ(screens[0].productName, "SIDE");
    EXPECT_EQ(screens[0].frame, (Rect{0, 0, 920, 500}));
    // The Xvfb screen seen from the side monitor's bottom-left corner, y up.
    EXPECT_EQ(screens[1].displayID, XvfbOutput());
    EXPECT_EQ(screens[1].frame, (Rect{-1000, -480, 1920, 1080}));

    XRRDeleteMonitor(desktop->display(), desktop->root(), XInternAtom(desktop->display(), "SIDE", False));
    XSync(desktop->display(), False);
    sideAdded = false;
    screens = platform->screens().list();
    ASSERT_EQ(screens.size(), 1u);
    EXPECT_EQ(screens[0].frame, (Rect{0, 0, 1920, 1080}));
}

TEST_F(ScreensTest, AnEdidGivenToTheOutputLaterNamesTheProduct) {
    ASSERT_EQ(platform->screens().list().at(0).productName, "screen"); // now kept between calls
    std::array<uint8_t, 128> edid{0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00};
    edid[54 + 3] = 0xFC;
    std::memcpy(edid.data() + 54 + 5, "Test Panel\n  ", 13);
    XRRChangeOutputProperty(desktop->display(), XvfbOutput(), XInternAtom(desktop->display(), "EDID", False),
                            XA_INTEGER, 8, PropModeReplace, edid.data(), int(edid.size()));
    XSync(desktop->display(), False);
    EXPECT_EQ(platform->screens().list().at(0).productName, "Test Panel");
}

TEST_F(ScreensTest, WindowBoundsAndTheMouseAreMeasuredFromTheMainScreen) {
    platform->cursor().mouseLocation(); // the main screen as it was is known now
    AddPrimarySideMonitor();
    const Window window = desktop->Open(TestDesktop::Titled("Placed"), 0x336699, 1100, 300, 200, 100);
    ASSERT_NE(window, None);
    const TestDesktop::Area frame = desktop->FrameArea(window);
    const std::optional<WindowInfo> info = platform->windowServer().window(uint32_t(window));
    ASSERT_TRUE(info);
    // Top-left origin at the side monitor's top-left corner (1000, 100).
    EXPECT_EQ(info->bounds, (Rect{frame.x - 1000.0, frame.y - 100.0, double(frame.width), double(frame.height)}));

    XWarpPointer(desktop->display(), None, desktop->root(), 0, 0, 0, 0, 1100, 300);
    XSync(desktop->display(), False);
    // Bottom-left origin at the side monitor's bottom-left corner (1000, 600).
    EXPECT_EQ(platform->cursor().mouseLocation(), (Point{100, 300}));
}
