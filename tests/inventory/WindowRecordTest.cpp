// The records: following a window with refresh(), and converting coordinates
// to a display's own.
#include "InventoryFixture.h"

using MC::MacCaptureWindow;
using MC::MacCaptureWindowManager;
using qcp::platform::Rect;

namespace {

MacCaptureWindow* Record(uint32_t number) { return MacCaptureWindowManager::getWindowForID(int(number)); }

} // namespace

TEST_F(InventoryTest, RefreshReportsMovesResizesAndDisplayChanges) {
    AddSideBySideDisplays();
    const uint32_t number = Open(kEditorPID, "Editor", "Draft", {100, 100, 600, 400});
    Start();
    const MacCaptureWindowManager::RefreshLock inventory;
    MacCaptureWindow* window = Record(number);
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(window->refresh(), 0);

    world().MoveWindow(number, 2120, 150); // dragged onto the second display
    EXPECT_EQ(window->refresh(), 4 | 1);
    EXPECT_EQ(window->display, MacCaptureWindowManager::getDisplay(1));
    EXPECT_EQ(window->bounds.x, 200);
    EXPECT_EQ(window->bounds.y, 150);
    EXPECT_FALSE(window->partlyOffDisplay);
    EXPECT_EQ(window->refresh(), 0);

    world().MoveWindow(number, 300, 150); // back, and resized on the way
    world().ResizeWindow(number, 640, 480);
    EXPECT_EQ(window->refresh(), 4 | 2 | 1);
    EXPECT_EQ(window->display, MacCaptureWindowManager::getDisplay(0));
    EXPECT_EQ(window->bounds.width, 640);
    EXPECT_EQ(window->bounds.height, 480);

    world().ResizeWindow(number, 640, 481);
    EXPECT_EQ(window->refresh(), 2);
    world().MoveWindow(number, 1720, 150); // more of it now on the second display
    EXPECT_EQ(window->refresh(), 4 | 1);
    EXPECT_EQ(window->display, MacCaptureWindowManager::getDisplay(1));
    EXPECT_TRUE(window->partlyOffDisplay);

    world().MoveWindow(number, 5000, 5000); // off every display: not lost, nothing changes
    EXPECT_EQ(window->refresh(), 0);
    EXPECT_EQ(window->display, MacCaptureWindowManager::getDisplay(1));
    EXPECT_EQ(window->bounds.x, -200);
}

TEST_F(InventoryTest, RefreshLosesRetitledAndMinimisedWindows) {
    AddSideBySideDisplays();
    const uint32_t number = Open(kEditorPID, "Editor", "Draft", {100, 100, 600, 400});
    Start();
    const MacCaptureWindowManager::RefreshLock inventory;
    MacCaptureWindow* window = Record(number);
    ASSERT_NE(window, nullptr);

    world().MinimiseWindow(number, true);
    EXPECT_EQ(window->refresh(), 8);
    world().MinimiseWindow(number, false);
    EXPECT_EQ(window->refresh(), 0);
    world().RetitleWindow(number, "draft"); // the title must match exactly
    EXPECT_EQ(window->refresh(), 8);
    world().RetitleWindow(number, "Draft");
    world().AddProcess(kEditorPID, "editor"); // so must the owner's name
    EXPECT_EQ(window->refresh(), 8);
}

TEST_F(InventoryTest, RefreshFollowsTheLastOfTwoWindowsWithTheSameNames) {
    AddSideBySideDisplays();
    const uint32_t back = Open(kEditorPID, "Editor", "Draft", {100, 100, 600, 400});
    const uint32_t front = world().OpenWindow(kEditorPID, "Draft", {300, 300, 600, 400});
    Start();
    const MacCaptureWindowManager::RefreshLock inventory;
    MacCaptureWindow* window = Record(front);
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(window->refresh(), 1);
    EXPECT_EQ(window->bounds.x, 100);
    EXPECT_EQ(window->windowID, int32_t(front)); // followed by names, the number stays
    // Reopened under a new number, it is still found.
    world().CloseWindow(front);
    world().ReopenWindow(back, Rect{50, 60, 600, 400});
    EXPECT_EQ(window->refresh(), 1);
    EXPECT_EQ(window->bounds.y, 60);
}

TEST_F(InventoryTest, ConvertsToTheDisplaysOwnCoordinatesWhenTheSecondIsLeftAndAbove) {
    world().AddScreen({1, {0, 0, 1920, 1080}, 1.0, "Main", 60});
    world().AddScreen({2, {-1280, 1080, 1280, 1024}, 1.0, "Upper Left", 60});
    const MC::MacCaptureDisplay main(1, 1920, 1080, "Main");
    const MC::MacCaptureDisplay upperLeft(2, 1280, 1024, "Upper Left");
    const MC::MacCaptureDisplay unplugged(3, 800, 600, "Gone");

    Rect rect{-1000, -900, 300, 200};
    MacCaptureWindow::ConvertBoundsForDisplay(rect, &upperLeft);
    EXPECT_EQ(rect, (Rect{280, 124, 300, 200}));
    for (const MC::MacCaptureDisplay* display : {&main, &unplugged, static_cast<const MC::MacCaptureDisplay*>(nullptr)}) {
        Rect same{-1000, -900, 300, 200};
        MacCaptureWindow::ConvertBoundsForDisplay(same, display);
        EXPECT_EQ(same, (Rect{-1000, -900, 300, 200}));
    }

    const uint32_t number = Open(kEditorPID, "Editor", "Above", {-1000, -900, 300, 200});
    Start();
    const MacCaptureWindow* window = Record(number);
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(window->display, MacCaptureWindowManager::getDisplay(1));
    EXPECT_EQ(window->bounds.x, 280);
    EXPECT_EQ(window->bounds.y, 124);
}
