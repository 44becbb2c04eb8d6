// Alerts as GTK message dialogs, answered with keys as a user would.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <thread>

#include "GtkAlerts.h"
#include "GtkDesktopTest.h"
#include "ThreadNames.h"
#include "zQueue.h"

using qcp::platform::Alert;
using qcp::platform::gtk::GtkLoop;

namespace {

using GtkAlertsTest = GtkDesktopTest;

const Alert kInstall{"The audio capture driver is missing", "Install it to capture the sound.", {"Install", "Cancel"}};

// This program's visible window (GTK names windows by program), made active.
std::string AwaitOwnWindow() { return AwaitVisibleWindow("--classname gtk_tests"); }

bool OwnWindowShown() { return std::system("xdotool search --onlyvisible --classname gtk_tests >/dev/null") == 0; }


} // namespace

TEST_F(GtkAlertsTest, AModalAlertAnswersItsDefaultButtonOrNone) {
    GtkLoop loop;
    // Return presses the first button, the default; Escape closes the alert.
    for (const auto& [key, expected] : {std::pair{"Return", 0}, std::pair{"Escape", -1}}) {
        std::atomic<int> answer{-2};
        std::thread asker([&] { answer = RunModalAlert(loop, kInstall); });
        ASSERT_FALSE(AwaitOwnWindow().empty()) << key;
        EXPECT_EQ(answer, -2) << "the caller waits for the user";
        std::system((std::string("xdotool key ") + key).c_str());
        asker.join();
        EXPECT_EQ(answer, expected) << key;
        EXPECT_EQ(ThreadsNamed("gtk"), 0) << "GTK's thread ends with the last alert";
    }
}

TEST_F(GtkAlertsTest, AFreeStandingAlertReturnsAtOnceAndGoesWhenAnswered) {
    GtkLoop loop;
    ShowAlert(loop, kInstall);
    ASSERT_FALSE(AwaitOwnWindow().empty());
    std::system("xdotool key Return");
    ASSERT_TRUE(TestDesktop::WaitUntil([] { return !OwnWindowShown(); }));
    // The alert lets GTK go on the main queue: the loop may then go too.
    ASSERT_TRUE(TestDesktop::WaitUntil([] {
        zQueue::Main().Sync([] {});
        return ThreadsNamed("gtk") == 0;
    }));
}
