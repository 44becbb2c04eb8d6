// The inventory: which windows it offers, how it keys displays, its look-ups
// and its life cycle.
#include "InventoryFixture.h"
#include "Platform.h"

using MC::MacCaptureWindowManager;
using qcp::platform::Rect;

namespace {

std::vector<int32_t> ListedWindowNumbers() {
    std::vector<MC::MacCaptureWindow*> windows;
    MacCaptureWindowManager::getWindowList(windows);
    std::vector<int32_t> numbers;
    for (const MC::MacCaptureWindow* window : windows) numbers.push_back(window->windowID);
    return numbers;
}

std::vector<int32_t> ListedPIDs() {
    std::vector<MC::MacCaptureApplication*> applications;
    MacCaptureWindowManager::getApplicationList(applications);
    std::vector<int32_t> pids;
    for (const MC::MacCaptureApplication* application : applications) pids.push_back(application->pid);
    return pids;
}

} // namespace

TEST_F(InventoryTest, OffersOnlyTitledSizedWindowsOfOtherProcesses) {
    AddSideBySideDisplays();
    const int32_t own = world().OwnPID();
    const uint32_t draft = Open(kEditorPID, "Editor", "Draft", {100, 100, 400, 300});
    world().OpenWindow(kEditorPID, std::nullopt, {100, 100, 400, 300});
    world().OpenWindow(kEditorPID, "", {100, 100, 400, 300});
    world().OpenWindow(kEditorPID, "Flat", {100, 100, 400, 0});
    world().OpenWindow(kEditorPID, "Thin", {100, 100, 0, 300});
    Open(own, "Host", "Host Window", {200, 200, 400, 300});
    Open(600, "Window Server", "Menubar", {0, 0, 1920, 24});
    Open(601, std::nullopt, "Ownerless", {0, 0, 400, 300});
    // The owner check is exact: only the system's own name is left out.
    const uint32_t dock = Open(602, "window server", "Dock", {0, 1000, 1920, 80});
    Start();

    EXPECT_EQ(ListedWindowNumbers(), (std::vector<int32_t>{int32_t(draft), int32_t(dock)}));
    EXPECT_EQ(ListedPIDs(), (std::vector<int32_t>{kEditorPID, 602}));
    EXPECT_EQ(MacCaptureWindowManager::getApplication(own), nullptr);
    const MC::MacCaptureApplication* editor = MacCaptureWindowManager::getApplication(kEditorPID);
    ASSERT_NE(editor, nullptr);
    EXPECT_EQ(editor->name, "Editor");
    ASSERT_EQ(editor->windows.size(), 1u);
    EXPECT_EQ(editor->windows[0].get(), MacCaptureWindowManager::getWindowForID(int(draft)));
}

TEST_F(InventoryTest, WindowOffTheDesktopIsOfferedOnlyWhenItLooksFullScreen) {
    AddSideBySideDisplays();
    // On another Space, placed on the second display: converted x is 0 there.
    auto openElsewhere = [&](int32_t pid, const Rect& bounds) {
        const uint32_t number = Open(pid, "App " + std::to_string(pid), "Game", bounds);
        world().SetWindowSpace(number, 2);
        return number;
    };
    const uint32_t game = openElsewhere(700, {1920, 400, 800, 600});
    openElsewhere(701, {1920, 402, 800, 600});
    openElsewhere(702, {1920, 400, 799, 600});
    openElsewhere(703, {1920, 400, 800, 599});
    openElsewhere(704, {1924, 400, 800, 600});
    // On the desktop any place will do.
    const uint32_t shown = Open(706, "Shown", "Odd place", {1922, 402, 300, 200});
    Start();

    EXPECT_EQ(ListedWindowNumbers(), (std::vector<int32_t>{int32_t(game), int32_t(shown)}));
    // Each rejected window was its application's only one: the application goes too.
    EXPECT_EQ(ListedPIDs(), (std::vector<int32_t>{700, 706}));
    const MC::MacCaptureWindow* window = MacCaptureWindowManager::getWindowForID(int(game));
    EXPECT_EQ(window->display, MacCaptureWindowManager::getDisplay(1));
    EXPECT_EQ(window->bounds.x, 0);
    EXPECT_EQ(window->bounds.y, 400);
}

TEST_F(InventoryTest, ApplicationStaysForAWindowOnNoDisplayButNotForARejectedOne) {
    AddSideBySideDisplays();
    Open(800, "Far", "Nowhere", {5000, 5000, 400, 300});
    const uint32_t hidden = Open(801, "Hider", "Palette", {10, 10, 400, 300});
    world().HideWindow(hidden, true);
    // Listed front to back: the kept window comes before the rejected one.
    const uint32_t rejected = Open(802, "Mixed", "Tool", {10, 10, 400, 300});
    world().HideWindow(rejected, true);
    const uint32_t kept = world().OpenWindow(802, "Main", {10, 10, 400, 300});
    Start();

    const MC::MacCaptureApplication* far = MacCaptureWindowManager::getApplication(800);
    ASSERT_NE(far, nullptr);
    EXPECT_TRUE(far->windows.empty());
    EXPECT_EQ(MacCaptureWindowManager::getApplication(801), nullptr);
    const MC::MacCaptureApplication* mixed = MacCaptureWindowManager::getApplication(802);
    ASSERT_NE(mixed, nullptr);
    ASSERT_EQ(mixed->windows.size(), 1u);
    EXPECT_EQ(mixed->windows[0]->windowID, int32_t(kept));
}

TEST_F(InventoryTest, DisplaysAreKeyedByScreenIndexWhateverTheirIds) {
    world().AddScreen({77, {0, 0, 2560, 1440}, 2.0, "Wide", 60});
    world().AddScreen({5, {2560, 0, 1280, 1024}, 1.0, std::nullopt, 60});
    Start();

    const MC::MacCaptureDisplay* main = MacCaptureWindowManager::getDisplay(0);
    const MC::MacCaptureDisplay* side = MacCaptureWindowManager::getDisplay(1);
    ASSERT_NE(main, nullptr);
    ASSERT_NE(side, nullptr);
    EXPECT_EQ(main->displayID, 77u);
    EXPECT_EQ(main->name, "Wide");
    EXPECT_EQ(side->displayID, 5u);
    EXPECT_EQ(side->name, "Unknown");
    EXPECT_EQ(MacCaptureWindowManager::getDisplay(2), nullptr);
    EXPECT_EQ(MacCaptureWindowManager::getDisplay(77), nullptr);

    world().MoveScreenToIndex(5, 0);
    MacCaptureWindowManager::refreshLists();
    std::vector<MC::MacCaptureDisplay*> displays;
    MacCaptureWindowManager::getDisplayList(displays);
    ASSERT_EQ(displays.size(), 2u);
    EXPECT_EQ(displays[0]->displayID, 5u);
    EXPECT_EQ(displays[1]->displayID, 77u);
}

TEST_F(InventoryTest, LookUpByNamesIgnoresCaseAndTakesTheLowerWindowNumber) {
    AddSideBySideDisplays();
    const uint32_t older = Open(kEditorPID, "Text Edit", "Notes", {100, 100, 400, 300});
    const uint32_t newer = world().OpenWindow(kEditorPID, "NOTES", {600, 100, 400, 300}); // listed first
    ASSERT_LT(older, newer);
    Start();

    EXPECT_EQ(MacCaptureWindowManager::getWindow("notes", "text edit"),
              MacCaptureWindowManager::getWindowForID(int(older)));
    EXPECT_EQ(MacCaptureWindowManager::getWindow("notes ", "text edit"), nullptr);
    EXPECT_EQ(MacCaptureWindowManager::getWindow("notes", "text"), nullptr);
    EXPECT_EQ(MacCaptureWindowManager::getWindowForID(12345), nullptr);
}

TEST_F(InventoryTest, SecondInitialisationKeepsTheFirstInstanceAndItsRecords) {
    AddSideBySideDisplays();
    const uint32_t number = Open(kEditorPID, "Editor", "Draft", {100, 100, 400, 300});
    Start();
    MacCaptureWindowManager* first = MacCaptureWindowManager::getInstance();
    MC::MacCaptureWindow* record = MacCaptureWindowManager::getWindowForID(int(number));
    ASSERT_NE(record, nullptr);
    world().CloseWindow(number);

    Start();
    EXPECT_EQ(MacCaptureWindowManager::getInstance(), first);
    EXPECT_EQ(MacCaptureWindowManager::getWindowForID(int(number)), record);
}

TEST_F(InventoryTest, DisplayForRectPicksTheLargerShareAndReportsTheLastDisplayTouched) {
    AddSideBySideDisplays();
    Start();
    const MC::MacCaptureDisplay* main = MacCaptureWindowManager::getDisplay(0);
    const MC::MacCaptureDisplay* side = MacCaptureWindowManager::getDisplay(1);
    struct Case {
        Rect rect;
        const MC::MacCaptureDisplay* display;
        bool partlyOff;
    };
    const Case cases[] = {
        {{1620, 100, 600, 400}, main, true},  // equal shares: the lower index
        {{1720, 100, 600, 400}, side, true},  // more on the second
        {{-1, 100, 400, 300}, main, false},   // within the 2-point margin
        {{1320, 100, 601, 400}, main, true},  // one point on the second decides the flag
    };
    for (const Case& c : cases) {
        bool partlyOff = true;
        EXPECT_EQ(MacCaptureWindowManager::displayForRect(c.rect, &partlyOff), c.display) << c.rect.x;
        EXPECT_EQ(partlyOff, c.partlyOff) << c.rect.x;
    }
}
