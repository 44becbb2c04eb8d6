// Choosing a region on a display: the conversions, the one answer, and the
// display going away meanwhile.
#include <string_view>

#include "CommonSDKVariables.h"
#include "OverlayFixture.h"
#include "Selection/RegionChooser.h"

namespace {

struct Outcome {
    bool accepted;
    int x, y, width, height;
    friend bool operator==(const Outcome&, const Outcome&) = default;
};
using Outcomes = std::vector<Outcome>;

void Record(bool accepted, int x, int y, int width, int height, void* outcomes) {
    static_cast<Outcomes*>(outcomes)->push_back({accepted, x, y, width, height});
}

const char* Translate(const char* key) {
    return std::string_view(key) == "obr_select_screen_region_message" ? "Draw the region" : key;
}

using RegionChooserTest = OverlayTest;

} // namespace

TEST_F(RegionChooserTest, ARegionIsShownWhereItIsOnItsDisplayAndComesBackAsItWentOut) {
    Outcomes outcomes;
    CSDK::registerLocalizeStringCallback(&Translate);
    ASSERT_TRUE(OBRN::ChooseRegion(kSide, &Record, &outcomes, 10, 20, 300, 200));
    CSDK::uninitialize();
    EXPECT_EQ(user().OverlayScreen()->frame, kSideFrame);
    EXPECT_EQ(user().Overlay()->selection, (qp::Rect{10, 804, 300, 200})); // (1930, 804) on the screen
    EXPECT_EQ(user().Overlay()->message, "Draw the region");
    ASSERT_TRUE(user().Key(13));
    // Moved right and down, it comes back further right and down.
    ASSERT_TRUE(OBRN::ChooseRegion(kSide, &Record, &outcomes, 10, 20, 300, 200));
    ASSERT_TRUE(user().Drag({100, 900}, {105, 890}));
    ASSERT_TRUE(user().Key(3));
    // On a display lower in the arrangement the vertical origin is left out both ways.
    world().ReconfigureScreen(kSide, {1920, 56, 1280, 1024});
    ASSERT_TRUE(OBRN::ChooseRegion(kSide, &Record, &outcomes, 10, 20, 300, 200));
    EXPECT_EQ(user().Overlay()->selection, (qp::Rect{10, 804, 300, 200}));
    ASSERT_TRUE(user().Key(13));
    EXPECT_EQ(outcomes, (Outcomes{{true, 10, 20, 300, 200}, {true, 15, 30, 300, 200}, {true, 10, 20, 300, 200}}));
}

TEST_F(RegionChooserTest, EscapeOrTheDisplayGoingAwayAnswersOneCancelWithZeros) {
    Outcomes outcomes;
    ASSERT_TRUE(OBRN::ChooseRegion(kSide, &Record, &outcomes, 0, 0, 640, 480));
    ASSERT_TRUE(user().Escape());
    ASSERT_TRUE(OBRN::ChooseRegion(kSide, &Record, &outcomes, 0, 0, 640, 480));
    Pass(250'000);
    EXPECT_EQ(outcomes.size(), 1u) << "the display is still there";
    world().RemoveScreen(kSide);
    Pass(249'999);
    EXPECT_EQ(outcomes.size(), 1u);
    Pass(1);
    // Back and gone again, the choices stay over: no overlay, no more answers.
    world().AddScreen({kSide, kSideFrame, 1.0, "Side", 60});
    Frames(30);
    EXPECT_EQ(user().OpenOverlays(), 0);
    world().RemoveScreen(kSide);
    Pass(500'000);
    EXPECT_EQ(outcomes, (Outcomes{{false, 0, 0, 0, 0}, {false, 0, 0, 0, 0}}));
}

TEST_F(RegionChooserTest, ACancelFromOutsideAnswersTheChoiceOnceAndClosesItsOverlay) {
    Outcomes outcomes, others;
    ASSERT_TRUE(OBRN::ChooseRegion(kMain, &Record, &outcomes, 0, 0, 640, 480));
    zQueue::Main().Sync([&] { OBRN::CancelRegionChoice(&others); });
    EXPECT_TRUE(outcomes.empty()) << "another choice's data ends nothing";
    zQueue::Main().Sync([&] { OBRN::CancelRegionChoice(&outcomes); });
    EXPECT_EQ(outcomes, (Outcomes{{false, 0, 0, 0, 0}}));
    Frames(31);
    EXPECT_EQ(user().OpenOverlays(), 0);
    zQueue::Main().Sync([&] { OBRN::CancelRegionChoice(&outcomes); });
    EXPECT_EQ(outcomes.size(), 1u) << "an ended choice is not answered again";
}

TEST_F(RegionChooserTest, RefusedWithoutAScreenACallbackOrAUserInterface) {
    Outcomes outcomes;
    EXPECT_FALSE(OBRN::ChooseRegion(99, &Record, &outcomes, 0, 0, 100, 100));
    EXPECT_FALSE(OBRN::ChooseRegion(kMain, nullptr, &outcomes, 0, 0, 100, 100));
    EXPECT_EQ(user().OpenOverlays(), 0);
    Install(false);
    EXPECT_FALSE(OBRN::ChooseRegion(kMain, &Record, &outcomes, 0, 0, 100, 100));
    EXPECT_TRUE(outcomes.empty());
}
