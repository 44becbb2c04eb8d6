// The region selector overlay as the user sees and handles it on display 2,
// where the view's (100, 100, 300, 200) is the screen's (2020, 100, 300, 200).
#include "OverlayFixture.h"
#include "Selection/vnRegionSelector.h"

using qp::Point;
using qp::Rect;
using enum qp::OverlayCursor;

namespace {

constexpr Rect kStart{2020, 100, 300, 200};
constexpr Rect kShown{100, 100, 300, 200};

class RegionSelectorTest : public OverlayTest, public vnRegionSelectorDelegate {
protected:
    void regionSelectorSelectionComplete(vnRegionSelector& selector, const Rect& selection) override {
        outcomes.emplace_back(selector.getSelectionWasCancelled(), selection);
    }
    void Open() {
        zQueue::Main().Sync([&] {
            selector = vnRegionSelector::Create("Draw a region");
            selector->setDelegate(this);
            selector->setScreen(world().Screen(kSide));
            selector->setSelection(kStart);
            ASSERT_TRUE(selector->show());
        });
    }
    // As the delegate does; the selector fades out on its own.
    void LetGo() {
        zQueue::Main().Sync([&] {
            if (selector) selector->setDelegate(nullptr);
            selector.reset();
        });
    }
    void TearDown() override {
        LetGo();
        OverlayTest::TearDown();
    }
    qp::RegionOverlayState Shown() { return user().Overlay().value(); }

    std::shared_ptr<vnRegionSelector> selector;
    std::vector<std::pair<bool, Rect>> outcomes; // cancelled, selection
};

} // namespace

TEST_F(RegionSelectorTest, FadesInOnItsScreenAndAfterEscapeFadesOutEvenWhenLetGo) {
    Open();
    EXPECT_EQ(user().OverlayScreen()->frame, kSideFrame);
    EXPECT_EQ(Shown().selection, kShown);
    EXPECT_EQ(Shown().infoBox, (Rect{85, 320, 330, 60}));
    EXPECT_EQ(Shown().message, "Draw a region");
    EXPECT_EQ(Shown().alpha, 0);
    Frames(29);
    EXPECT_LT(Shown().alpha, 1);
    Frames(1);
    EXPECT_EQ(Shown().alpha, 1);
    ASSERT_TRUE(user().Escape());
    EXPECT_EQ(outcomes, (decltype(outcomes){{true, Rect{}}}));
    LetGo();
    Frames(29);
    EXPECT_GT(Shown().alpha, 0);
    Frames(1);
    EXPECT_EQ(user().OpenOverlays(), 0);
}

TEST_F(RegionSelectorTest, ReturnAndEnterReportTheSelectionOnTheScreenOtherKeysNothing) {
    for (uint32_t key : {13u, 3u}) {
        Open();
        ASSERT_TRUE(user().Key('a'));
        ASSERT_TRUE(user().Key(key));
    }
    EXPECT_EQ(outcomes, (decltype(outcomes){{false, kStart}, {false, kStart}}));
}

TEST_F(RegionSelectorTest, EachHandleMovesItsOwnEdgesAPressInsideMovesTheWholeAndOutsideNothing) {
    const std::pair<Point, Rect> drags[] = {
        {{250, 200}, {130, 80, 300, 200}},  {{50, 50}, kShown},                 // inside; outside
        {{100, 200}, {130, 100, 270, 200}}, {{400, 200}, {100, 100, 330, 200}}, // left, right
        {{250, 300}, {100, 100, 300, 180}}, {{250, 100}, {100, 80, 300, 220}},  // top, bottom
        {{100, 300}, {130, 100, 270, 180}}, {{400, 300}, {100, 100, 330, 180}}, // top corners
        {{100, 100}, {130, 80, 270, 220}},  {{400, 100}, {100, 80, 330, 220}},  // bottom corners
        {{94, 200}, {130, 100, 270, 200}},                                      // a handle reaches past the edge
    };
    for (const auto& [from, expected] : drags) {
        Open();
        ASSERT_TRUE(user().Drag(from, {from.x + 30, from.y - 20}));
        EXPECT_EQ(Shown().selection, expected) << from.x << ", " << from.y;
        EXPECT_EQ(Shown().infoBox.y, expected.MaxY() + 20);
        ASSERT_TRUE(user().Escape());
    }
}

TEST_F(RegionSelectorTest, ShrinkingStopsAt24AndTheSelectionStaysOnTheScreenAtItsSize) {
    Open();
    const std::tuple<Point, Point, Rect> drags[] = {
        {{100, 200}, {400, 0}, {500, 100, 24, 200}},    // left handle past the right edge
        {{500, 200}, {1000, 0}, {1256, 100, 24, 200}},  // and on to the screen's right edge
        {{1268, 100}, {0, 1400}, {1256, 1000, 24, 24}}, // bottom handle past the top, to the top
        {{1268, 1012}, {-5000, 0}, {0, 1000, 24, 24}},  // moved to the left edge
        {{12, 1012}, {0, -5000}, {0, 0, 24, 24}},       // and to the bottom
    };
    for (const auto& [from, by, expected] : drags) {
        ASSERT_TRUE(user().Drag(from, {from.x + by.x, from.y + by.y}));
        EXPECT_EQ(Shown().selection, expected) << from.x << ", " << from.y;
    }
}

TEST_F(RegionSelectorTest, TheCursorAndThePressedHandleFollowThePointer) {
    Open();
    const std::tuple<Point, int, qp::OverlayCursor> spots[] = {
        {{100, 200}, 1, ResizeLeftRight},  {{400, 200}, 2, ResizeLeftRight},  {{250, 300}, 3, ResizeUpDown},
        {{250, 100}, 4, ResizeUpDown},     {{100, 300}, 5, ResizeDiagonalLR}, {{400, 300}, 6, ResizeDiagonalRL},
        {{100, 100}, 7, ResizeDiagonalRL}, {{400, 100}, 8, ResizeDiagonalLR}, {{250, 200}, 0, OpenHand},
        {{93, 200}, 1, ResizeLeftRight},   {{107, 200}, 0, OpenHand},         {{92.9, 200}, 0, Arrow},
    };
    for (const auto& [at, corner, cursor] : spots) {
        ASSERT_TRUE(user().MoveMouse(at));
        EXPECT_EQ(Shown().selectedCorner, corner) << at.x << ", " << at.y;
        EXPECT_EQ(Shown().cursor, cursor) << at.x << ", " << at.y;
    }
    zQueue::Main().Sync([&] { selector->MouseDown({250, 200}); });
    EXPECT_EQ(Shown().cursor, ClosedHand);
    zQueue::Main().Sync([&] { selector->MouseUp({250, 200}); });
    EXPECT_EQ(Shown().cursor, OpenHand);
}

TEST_F(RegionSelectorTest, RedrawsCoverBothHandlesAndBothSelectionsWithTheirReach) {
    Open();
    const size_t before = Areas().size();
    ASSERT_TRUE(user().MoveMouse({100, 200})); // onto handle 1 from none
    ASSERT_TRUE(user().Drag({250, 200}, {280, 180}, 1));
    const std::vector<Rect> all = Areas();
    // The hands' cursors apply at once: no area.
    EXPECT_EQ(std::vector<Rect>(all.begin() + before, all.end()),
              (std::vector<Rect>{{-7, -7, 14, 14}, {93, 193, 14, 14}, {}, {84, 64, 362, 252}, {}}));
}
