// The handle: one tracked window, shown and closed from the test's thread.
#include <memory>

#include "MacCaptureSourceSDKInfo.h"
#include "Platform.h"
#include "SelectionFixture.h"

using MC::MacCaptureSelectionDialog;
using W = qcp::platform::SelectionWidget;
using SelectionDialogTest = SelectionTest;

TEST_F(SelectionDialogTest, ShowsNothingWithoutACallbackOrAUserInterface) {
    MacCaptureSelectionDialog dialog;
    Answers answers;
    dialog.showWindowSelection(int(fHome), false, nullptr, &answers);
    EXPECT_EQ(user().OpenWindows(), 0);
    qcp::platform::Install(nullptr);
    dialog.showMonitorSelection(0, MC::kCaptureWholeDisplay, nullptr, &Heard, &answers);
    EXPECT_FALSE(dialog.isOpen());
    EXPECT_TRUE(answers.empty());
}

TEST_F(SelectionDialogTest, AnswersCarryTheChoiceAndClearTheRecord) {
    MacCaptureSelectionDialog dialog;
    Answers answers;
    const zRect region(10, 20, 309, 219);
    dialog.showMonitorSelection(1, MC::kCaptureRegion, &region, &Heard, &answers);
    ASSERT_TRUE(dialog.isOpen());
    ASSERT_TRUE(user().Press(W::MonitorOK));
    dialog.showMonitorSelection(0, MC::kCaptureWholeDisplay, &region, &Heard, &answers);
    ASSERT_TRUE(user().Press(W::MonitorOK));
    dialog.showWindowSelection(int(fHome), true, &Heard, &answers);
    ASSERT_TRUE(user().Press(W::WindowOK));
    EXPECT_EQ(answers, (Answers{{0, 1, region}, {0, 0, {}}, {0, int(fHome), {}}}));
    EXPECT_FALSE(dialog.isOpen());
    EXPECT_EQ(user().OpenWindows(), 0);
}

TEST_F(SelectionDialogTest, EveryWindowAnswersOnceWhateverClosesIt) {
    MacCaptureSelectionDialog dialog;
    Answers first, second, third;
    dialog.showWindowSelection(int(fHome), false, &Heard, &first);
    dialog.showMonitorSelection(0, MC::kCaptureWholeDisplay, nullptr, &Heard, &second); // replaces the first
    EXPECT_EQ(user().OpenWindows(), 1);
    dialog.closeSelectionWindow();
    dialog.closeSelectionWindow();
    dialog.showWindowSelection(int(fHome), false, &Heard, &third);
    ASSERT_TRUE(user().CloseWindow());
    EXPECT_FALSE(dialog.isOpen());
    EXPECT_EQ(user().OpenWindows(), 0);
    for (const Answers* answers : {&first, &second, &third}) EXPECT_EQ(*answers, Answers{kCancelled});
}

TEST_F(SelectionDialogTest, DestroyingTheHandleClosesItsWindowWithoutAnswering) {
    Answers answers;
    auto dialog = std::make_unique<MacCaptureSelectionDialog>();
    dialog->showWindowSelection(int(fHome), false, &Heard, &answers);
    ASSERT_EQ(user().OpenWindows(), 1);
    dialog.reset();
    EXPECT_EQ(user().OpenWindows(), 0);
    EXPECT_TRUE(answers.empty());
}
