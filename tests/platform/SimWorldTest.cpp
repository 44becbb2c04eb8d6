#include "SimWorld.h"

#include <gtest/gtest.h>

#include "SimPainter.h"
#include "SimPlatform.h"

using namespace qcp::platform;
using namespace qcp::platform::sim;

namespace {
constexpr int32_t kApp = 501;

// Main 1920 x 1080 (id 11) and a 1280 x 1024 display (id 22) to its right,
// tops aligned: in top-left coordinates the second starts at (1920, 0).
class SimWorldTest : public ::testing::Test {
protected:
    void SetUp() override {
        world.AddScreen({11, {0, 0, 1920, 1080}, 1.0, "Main", 60});
        world.AddScreen({22, {1920, 56, 1280, 1024}, 2.0, std::nullopt, 60});
        world.AddProcess(kApp, "Editor");
    }
    SimWorld world;
};

std::vector<uint32_t> Numbers(const std::vector<WindowInfo>& list) {
    std::vector<uint32_t> numbers;
    for (const WindowInfo& info : list) numbers.push_back(info.number);
    return numbers;
}
} // namespace

TEST_F(SimWorldTest, ListsWindowsFrontToBackWithTheirOwnersAndBounds) {
    const uint32_t back = world.OpenWindow(kApp, "Back", {10, 20, 300, 200});
    const uint32_t front = world.OpenWindow(kApp, std::nullopt, {40, 50, 300, 200});
    world.AddProcess(777, std::nullopt);
    const uint32_t anonymous = world.OpenWindow(777, "Nameless owner", {0, 0, 10, 10});
    EXPECT_EQ(Numbers(world.WindowList(false)), (std::vector<uint32_t>{anonymous, front, back}));
    world.RaiseWindow(back);
    EXPECT_EQ(Numbers(world.WindowList(false)), (std::vector<uint32_t>{back, anonymous, front}));

    const auto entry = world.WindowEntry(front);
    ASSERT_TRUE(entry);
    EXPECT_FALSE(entry->title);
    EXPECT_EQ(entry->ownerName, "Editor");
    EXPECT_EQ(entry->ownerPID, kApp);
    EXPECT_EQ(entry->bounds, (Rect{40, 50, 300, 200}));
    EXPECT_TRUE(entry->onScreen);
    EXPECT_FALSE(world.WindowEntry(anonymous)->ownerName);
}

TEST_F(SimWorldTest, WindowsOnAnotherSpaceMinimisedOrHiddenAreListedButNotOnScreen) {
    const uint32_t shown = world.OpenWindow(kApp, "Shown", {0, 0, 100, 100});
    const uint32_t away = world.OpenWindow(kApp, "Away", {0, 0, 1920, 1080});
    const uint32_t minimised = world.OpenWindow(kApp, "Minimised", {0, 0, 100, 100});
    const uint32_t hidden = world.OpenWindow(kApp, "Hidden", {0, 0, 100, 100});
    world.SetWindowSpace(away, 2);
    world.MinimiseWindow(minimised, true);
    world.HideWindow(hidden, true);
    EXPECT_EQ(Numbers(world.WindowList(true)), (std::vector<uint32_t>{shown}));
    EXPECT_EQ(world.WindowList(false).size(), 4u);
    EXPECT_FALSE(world.WindowEntry(away)->onScreen);

    world.SetCurrentSpace(2);
    EXPECT_EQ(Numbers(world.WindowList(true)), (std::vector<uint32_t>{away}));
}

TEST_F(SimWorldTest, ReopeningAWindowGivesANewNumberWithTheSameTitleAndPlace) {
    const uint32_t first = world.OpenWindow(kApp, "Document", {100, 100, 400, 300});
    world.OpenWindow(kApp, "Other", {0, 0, 50, 50});
    const uint32_t reopened = world.ReopenWindow(first);
    EXPECT_NE(reopened, first);
    EXPECT_GT(reopened, first);
    EXPECT_FALSE(world.WindowEntry(first));
    const auto entry = world.WindowEntry(reopened);
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->title, "Document");
    EXPECT_EQ(entry->bounds, (Rect{100, 100, 400, 300}));
    EXPECT_EQ(world.WindowList(false).front().number, reopened);
    EXPECT_EQ(world.ReopenWindow(first), 0u);
    // Numbers are never handed out twice, even after closing.
    world.CloseWindow(reopened);
    EXPECT_GT(world.OpenWindow(kApp, "Next", {0, 0, 1, 1}), reopened);
}

TEST_F(SimWorldTest, TheOwnProcessHasWindowsToo) {
    world.AddProcess(world.OwnPID(), "Host");
    const uint32_t own = world.OpenWindow(world.OwnPID(), "Host Window", {0, 0, 200, 100});
    EXPECT_EQ(world.WindowEntry(own)->ownerPID, world.OwnPID());
    EXPECT_EQ(SimPlatform().ownPID(), world.OwnPID());
}

TEST_F(SimWorldTest, ScreensKeepTheirOrderAndCanBeReorderedAndRemoved) {
    world.AddScreen({33, {-800, 0, 800, 600}, 1.0, "Left", 30});
    world.MoveScreenToIndex(33, 0);
    std::vector<ScreenInfo> screens = world.Screens();
    ASSERT_EQ(screens.size(), 3u);
    EXPECT_EQ(screens[0].displayID, 33u);
    EXPECT_EQ(screens[1].displayID, 11u);
    EXPECT_EQ(screens[2].displayID, 22u);
    world.RemoveScreen(11);
    screens = world.Screens();
    ASSERT_EQ(screens.size(), 2u);
    EXPECT_EQ(screens[1].displayID, 22u);
    EXPECT_FALSE(world.Screen(11));
    EXPECT_FALSE(world.DisplayStamp(11));
}

TEST_F(SimWorldTest, WindowImageIsTheWindowAloneAtTheBackingScaleOfItsDisplay) {
    const uint32_t onMain = world.OpenWindow(kApp, "Main", {100, 100, 300, 200});
    const uint32_t onRetina = world.OpenWindow(kApp, "Side", {2000, 100, 300, 200});
    const ImageRef image = world.WindowImage(onMain);
    ASSERT_TRUE(image);
    EXPECT_EQ(image->width(), 300u);
    EXPECT_EQ(image->height(), 200u);
    EXPECT_EQ(ReadStamp(*image), world.WindowStamp(onMain));
    const ImageRef sharp = world.WindowImage(onRetina);
    EXPECT_EQ(sharp->width(), 600u);
    EXPECT_EQ(sharp->height(), 400u);
    // Its content changed: the stamp says so.
    world.TouchWindow(onMain);
    EXPECT_EQ(ReadStamp(*world.WindowImage(onMain)), (Stamp{onMain, 1}));
    world.CloseWindow(onMain);
    EXPECT_FALSE(world.WindowImage(onMain));
}

TEST_F(SimWorldTest, WindowImageFaultsComeBackMissingOrFullyTransparent) {
    const uint32_t window = world.OpenWindow(kApp, "W", {0, 0, 40, 30});
    world.SetWindowImageFault(SimWorld::WindowImageFault::Missing);
    EXPECT_FALSE(world.WindowImage(window));
    world.SetWindowImageFault(SimWorld::WindowImageFault::Transparent);
    const ImageRef clear = world.WindowImage(window);
    ASSERT_TRUE(clear);
    EXPECT_EQ(clear->width(), 40u);
    for (uint32_t y = 0; y < clear->height(); ++y)
        for (uint32_t x = 0; x < clear->width() * 4; ++x) ASSERT_EQ(clear->row(y)[x], 0);
    EXPECT_EQ(world.Counters().windowImages, 2u);
}

TEST_F(SimWorldTest, ADisplaysCounterMovesOnlyWhenSomethingOnItChanges) {
    const uint32_t window = world.OpenWindow(kApp, "W", {100, 100, 300, 200});
    const Stamp main = *world.DisplayStamp(11), side = *world.DisplayStamp(22);
    world.TouchWindow(window);
    EXPECT_NE(world.DisplayStamp(11)->counter, main.counter);
    EXPECT_EQ(world.DisplayStamp(22)->counter, side.counter);
    // Dragged across: both displays change.
    const Stamp beforeMove = *world.DisplayStamp(11);
    world.MoveWindow(window, 2000, 100);
    EXPECT_NE(world.DisplayStamp(11)->counter, beforeMove.counter);
    EXPECT_NE(world.DisplayStamp(22)->counter, side.counter);
    // Titles and the mouse are not part of the pictures.
    const Stamp settled = *world.DisplayStamp(22);
    world.RetitleWindow(window, "Renamed");
    world.SetMouse({500, 500});
    EXPECT_EQ(*world.DisplayStamp(22), settled);
}

TEST_F(SimWorldTest, SceneConvertsTheScreenFrameToTopLeftCoordinates) {
    world.OpenWindow(kApp, "Side", {2000, 100, 300, 200});
    const auto scene = world.Scene(22);
    ASSERT_TRUE(scene);
    EXPECT_EQ(scene->frame, (Rect{1920, 0, 1280, 1024}));
    ASSERT_EQ(scene->windows.size(), 1u);
    EXPECT_TRUE(world.Scene(11)->windows.empty());
}

TEST_F(SimWorldTest, AlertsAreRecordedAndAnsweredAsConfigured) {
    SimPlatform platform;
    platform.world().SetModalAlertAnswer(1);
    EXPECT_EQ(platform.system().runModalAlert({"Install?", "Needed for audio.", {"Install", "Cancel"}}), 1);
    platform.system().showAlertSheet({"Denied", "", {"OK"}});
    const std::vector<Alert> alerts = platform.world().Alerts();
    ASSERT_EQ(alerts.size(), 2u);
    EXPECT_EQ(alerts[0].message, "Install?");
    EXPECT_EQ(alerts[0].buttons[1], "Cancel");
    EXPECT_EQ(alerts[1].message, "Denied");
}

TEST(SimDefaultWorld, ShowsTwoDisplaysAndAFullScreenGameOnAnotherSpace) {
    SimWorld world;
    SimWorld::PopulateDefault(world);
    const std::vector<ScreenInfo> screens = world.Screens();
    ASSERT_EQ(screens.size(), 2u);
    EXPECT_EQ(screens[0].frame, (Rect{0, 0, 1920, 1080}));
    bool sawGame = false, sawOwn = false;
    for (const WindowInfo& window : world.WindowList(false)) {
        if (window.title == "Racer") {
            sawGame = true;
            EXPECT_FALSE(window.onScreen);
            EXPECT_EQ(window.bounds, (Rect{0, 0, 1920, 1080}));
        }
        sawOwn |= window.ownerPID == world.OwnPID();
    }
    EXPECT_TRUE(sawGame);
    EXPECT_TRUE(sawOwn);
}
