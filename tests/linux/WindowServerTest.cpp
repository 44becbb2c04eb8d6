#include <gtest/gtest.h>

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>

#include "TestDesktop.h"
#include "X11WindowServer.h"

using namespace qcp::platform;

extern char** environ;

namespace {

// No process has this id (above the kernel's pid limit).
constexpr long kNoSuchProcess = 0x7FFFFFF0;

class WindowServerTest : public LinuxDesktopTest {
protected:
    void TearDown() override {
        if (sleeper > 0) {
            kill(sleeper, SIGKILL);
            waitpid(sleeper, nullptr, 0);
        }
    }

    // A process of another name to own a window.
    pid_t StartSleeper() {
        char* argv[] = {const_cast<char*>("sleep"), const_cast<char*>("60"), nullptr};
        if (posix_spawnp(&sleeper, "sleep", nullptr, nullptr, argv, environ) != 0) sleeper = -1;
        return sleeper;
    }

    std::optional<WindowInfo> Find(uint32_t number, bool onScreenOnly = false) {
        for (WindowInfo& info : platform->windowServer().windowList(onScreenOnly))
            if (info.number == number) return info;
        return std::nullopt;
    }

    std::vector<uint32_t> Numbers() {
        std::vector<uint32_t> numbers;
        for (const WindowInfo& info : platform->windowServer().windowList(false)) numbers.push_back(info.number);
        return numbers;
    }

    pid_t sleeper = -1;
};

} // namespace

TEST_F(WindowServerTest, ListsClientsFrontToBackWithTitleOwnerAndDecoratedBounds) {
    const pid_t other = StartSleeper();
    ASSERT_GT(other, 0);
    const Window alpha = desktop->Open(TestDesktop::Titled("Alpha").Pid(other), 0xFF0000, 100, 100, 300, 200);
    const Window beta =
        desktop->Open(TestDesktop::Titled("Beta").Pid(kNoSuchProcess).Class("QcpClass"), 0x00FF00, 500, 150, 320, 240);
    const Window gamma =
        desktop->Open(TestDesktop::Titled("Gamma \xE2\x9C\x93").Pid(getpid()), 0x0000FF, 900, 200, 200, 100);
    ASSERT_NE(alpha, None);
    ASSERT_NE(beta, None);
    ASSERT_NE(gamma, None);

    // Each new window opened in front of the others.
    EXPECT_EQ(Numbers(), (std::vector<uint32_t>{uint32_t(gamma), uint32_t(beta), uint32_t(alpha)}));

    const std::optional<WindowInfo> a = Find(uint32_t(alpha));
    ASSERT_TRUE(a);
    EXPECT_EQ(a->title, "Alpha");
    EXPECT_EQ(a->ownerPID, other);
    EXPECT_EQ(a->ownerName, "sleep");
    EXPECT_TRUE(a->onScreen);
    // The frame openbox put around the client, as the server's window tree has it.
    const TestDesktop::Area frame = desktop->FrameArea(alpha);
    const TestDesktop::Area client = desktop->ClientArea(alpha);
    EXPECT_EQ(a->bounds, (Rect{double(frame.x), double(frame.y), double(frame.width), double(frame.height)}));
    EXPECT_LT(a->bounds.y, client.y); // the title bar
    EXPECT_GT(a->bounds.height, client.height);

    const std::optional<WindowInfo> b = Find(uint32_t(beta));
    ASSERT_TRUE(b);
    EXPECT_EQ(b->ownerPID, kNoSuchProcess);
    EXPECT_EQ(b->ownerName, "QcpClass"); // no such process: the class names the owner

    const std::optional<WindowInfo> g = Find(uint32_t(gamma));
    ASSERT_TRUE(g);
    EXPECT_EQ(g->title, "Gamma \xE2\x9C\x93");
    EXPECT_EQ(g->ownerPID, platform->windowServer().ownPID());
    EXPECT_EQ(g->ownerName, qcp::platform::x11::X11WindowServer::ProcessName(getpid()));
}

TEST_F(WindowServerTest, UntitledWindowsAreListedAndLegacyLatin1TitlesBecomeUtf8) {
    const Window untitled = desktop->Open(TestDesktop::Options(), 0x808080, 200, 200, 100, 100);
    const Window legacy = desktop->Open(TestDesktop::Options().LegacyName("Caf\xE9"), 0x808080, 400, 200, 100, 100);
    ASSERT_NE(untitled, None);
    ASSERT_NE(legacy, None);
    const std::optional<WindowInfo> u = Find(uint32_t(untitled));
    ASSERT_TRUE(u);
    EXPECT_EQ(u->title, std::nullopt);
    EXPECT_EQ(u->ownerName, "QcpTest"); // no _NET_WM_PID
    const std::optional<WindowInfo> l = Find(uint32_t(legacy));
    ASSERT_TRUE(l);
    EXPECT_EQ(l->title, "Caf\xC3\xA9");
}

TEST_F(WindowServerTest, ActivatingAWindowBringsItToTheFront) {
    const Window back = desktop->Open(TestDesktop::Titled("Back"), 0x112233, 100, 100, 200, 200);
    const Window front = desktop->Open(TestDesktop::Titled("Front"), 0x445566, 150, 150, 200, 200);
    ASSERT_EQ(Numbers().front(), uint32_t(front));
    desktop->Activate(back);
    EXPECT_EQ(Numbers(), (std::vector<uint32_t>{uint32_t(back), uint32_t(front)}));
}

TEST_F(WindowServerTest, MinimisedWindowsAndWindowsOnAnotherDesktopAreOffScreen) {
    const Window shown = desktop->Open(TestDesktop::Titled("Shown"), 0x112233, 100, 100, 200, 200);
    const Window minimised = desktop->Open(TestDesktop::Titled("Minimised"), 0x445566, 400, 100, 200, 200);
    const Window elsewhere = desktop->Open(TestDesktop::Titled("Elsewhere"), 0x778899, 700, 100, 200, 200);
    desktop->Minimise(minimised);
    desktop->MoveToDesktop(elsewhere, 1);

    EXPECT_TRUE(Find(uint32_t(shown))->onScreen);
    ASSERT_TRUE(Find(uint32_t(minimised)));
    EXPECT_FALSE(Find(uint32_t(minimised))->onScreen);
    ASSERT_TRUE(Find(uint32_t(elsewhere)));
    EXPECT_FALSE(Find(uint32_t(elsewhere))->onScreen);

    std::vector<uint32_t> onScreen;
    for (const WindowInfo& info : platform->windowServer().windowList(true)) onScreen.push_back(info.number);
    EXPECT_EQ(onScreen, std::vector<uint32_t>{uint32_t(shown)});
}

TEST_F(WindowServerTest, OneWindowsEntryIsThereOnlyForALiveClient) {
    const Window window = desktop->Open(TestDesktop::Titled("Single"), 0x112233, 100, 100, 200, 200);
    ASSERT_NE(window, None);
    const std::optional<WindowInfo> entry = platform->windowServer().window(uint32_t(window));
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->title, "Single");
    EXPECT_EQ(entry->bounds, Find(uint32_t(window))->bounds);

    // The frame around it and the root are windows, but not clients.
    ASSERT_NE(desktop->FrameOf(window), window);
    EXPECT_FALSE(platform->windowServer().window(uint32_t(desktop->FrameOf(window))));
    EXPECT_FALSE(platform->windowServer().window(uint32_t(desktop->root())));
    EXPECT_FALSE(platform->windowServer().window(0));

    desktop->Close(window);
    EXPECT_FALSE(platform->windowServer().window(uint32_t(window)));
    EXPECT_FALSE(Find(uint32_t(window)));
}
