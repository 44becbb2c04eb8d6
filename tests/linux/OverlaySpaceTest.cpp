#include <gtest/gtest.h>

#include "OverlaySpace.h"

using qcp::platform::Point;
using qcp::platform::Rect;
using qcp::platform::gtk::OverlaySpace;
using qcp::platform::x11::X11Monitor;
namespace X11Monitors = qcp::platform::x11::X11Monitors;

using Area = OverlaySpace::Area;

TEST(OverlaySpaceTest, TheWindowIsWhereTheScreenListPutTheScreenAndViewPointsCountUpFromItsBottom) {
    const X11Monitor main{1, 0, 0, 0, 0, 1920, 1080, true};
    const X11Monitor side{2, 0, 0, 1920, 200, 1280, 720, false};
    const X11Monitor below{3, 0, 0, 300, 1080, 1024, 768, false};
    for (const X11Monitor& monitor : {main, side, below}) {
        const OverlaySpace space(X11Monitors::GlobalFrame(monitor, main), 1, main, 1);
        EXPECT_EQ(space.window(), (Area{monitor.x, monitor.y, monitor.width, monitor.height})) << monitor.displayID;
    }
    // A main monitor away from the root's corner.
    const X11Monitor offMain{4, 0, 0, 1920, 0, 1280, 1024, true};
    EXPECT_EQ(OverlaySpace(X11Monitors::GlobalFrame(main, offMain), 1, offMain, 1).window(), (Area{0, 0, 1920, 1080}));

    const OverlaySpace space({1920, 160, 1280, 720}, 1, main, 1);
    EXPECT_EQ(space.ViewFromWindow(0, 0), (Point{0, 720}));
    EXPECT_EQ(space.ViewFromWindow(700, 500), (Point{700, 220}));
    EXPECT_EQ(space.WindowFromView({400, 300, 600, 400}), (Area{400, 20, 600, 400}));
    // Partly covered units are redrawn whole.
    EXPECT_EQ(space.WindowFromView({10.5, 20.25, 1, 1}), (Area{10, 698, 2, 2}));
    EXPECT_EQ(space.WindowFromView({10, 10, 0, 5}), Area{});
    EXPECT_EQ(space.TopDown({400, 300, 600, 400}), (Rect{400, 20, 600, 400}));
}

TEST(OverlaySpaceTest, PointsFollowTheBackingScaleAndGtkUnitsFollowGdksScale) {
    const X11Monitor main{1, 0, 0, 0, 0, 1920, 1080, true};
    // Two pixels a point, GTK unscaled: a unit is half a point.
    const OverlaySpace fine({0, 0, 960, 540}, 2, main, 1);
    EXPECT_EQ(fine.window(), (Area{0, 0, 1920, 1080}));
    EXPECT_EQ(fine.pointsPerUnit(), 0.5);
    EXPECT_EQ(fine.ViewFromWindow(100, 100), (Point{50, 490}));
    EXPECT_EQ(fine.WindowFromView({50, 490, 10, 10}), (Area{100, 80, 20, 20}));
    // GDK scaled as well: a unit is a point again.
    const OverlaySpace both({0, 0, 960, 540}, 2, main, 2);
    EXPECT_EQ(both.window(), (Area{0, 0, 960, 540}));
    EXPECT_EQ(both.ViewFromWindow(100, 100), (Point{100, 440}));
}
