// Where GTK's work runs: the plug-in's own thread while it is needed, or a
// GLib loop the host already turns.
#include <gtest/gtest.h>
#include <glib.h>

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

#include "GtkDesktopTest.h"
#include "GtkLoop.h"
#include "ThreadNames.h"

using qcp::platform::gtk::GtkLoop;

namespace {

using GtkLoopTest = GtkDesktopTest;

std::string CurrentThreadName() {
    char name[32] = {};
    pthread_getname_np(pthread_self(), name, sizeof name);
    return name;
}


} // namespace

TEST_F(GtkLoopTest, WithoutAHostLoopWorkRunsInOrderOnAThreadOfItsOwnWhileNeeded) {
    GtkLoop loop;
    std::mutex mutex;
    std::vector<std::string> ran;
    std::atomic<bool> done{false};
    {
        GtkLoop::Use use(loop);
        use.Post([&] {
            // Posted from GTK's own thread: after this item, never inside it.
            use.Post([&] {
                std::lock_guard lock(mutex);
                ran.push_back("nested");
                done = true;
            });
            std::lock_guard lock(mutex);
            ran.push_back(CurrentThreadName() + (GtkLoop::IsCurrent() ? " current" : "") +
                          (GtkLoop::Ready() ? " ready" : ""));
        });
        ASSERT_TRUE(TestDesktop::WaitUntil([&] { return done.load(); }));
        EXPECT_EQ(ThreadsNamed("gtk"), 1);
        EXPECT_FALSE(GtkLoop::IsCurrent());
    }
    EXPECT_EQ(ran, (std::vector<std::string>{"gtk current ready", "nested"}));
    EXPECT_EQ(ThreadsNamed("gtk"), 0) << "the last Use ends the thread";
}

TEST_F(GtkLoopTest, AHostsLoopOnTheDefaultContextRunsTheWorkInstead) {
    GMainLoop* hostLoop = g_main_loop_new(nullptr, FALSE);
    std::thread host([&] {
        pthread_setname_np(pthread_self(), "host-ui");
        g_main_loop_run(hostLoop);
    });
    ASSERT_TRUE(TestDesktop::WaitUntil([&] { return g_main_loop_is_running(hostLoop); }));
    {
        GtkLoop loop;
        GtkLoop::Use use(loop);
        std::atomic<int> ranOnHost{-1};
        use.Post([&] { ranOnHost = CurrentThreadName() == "host-ui" && GtkLoop::Ready(); });
        ASSERT_TRUE(TestDesktop::WaitUntil([&] { return ranOnHost >= 0; }));
        EXPECT_EQ(ranOnHost, 1);
        EXPECT_EQ(ThreadsNamed("gtk"), 0) << "no thread of the plug-in's own";
    }
    EXPECT_TRUE(g_main_loop_is_running(hostLoop)) << "the host's loop is left turning";
    g_main_loop_quit(hostLoop);
    host.join();
    g_main_loop_unref(hostLoop);
}
