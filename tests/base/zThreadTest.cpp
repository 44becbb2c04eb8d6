#include "zThread.h"

#include <gtest/gtest.h>

#include <memory>
#include <pthread.h>

#include "zSignal.h"

namespace {
constexpr int64_t kHang = 30'000'000; // only a broken thread waits this out

struct RecordingBody : zThreadMain {
    int Main(int argc, const char** argv) override {
        sawArgc = argc;
        sawArgv = argv;
        char name[16] = {};
        pthread_getname_np(pthread_self(), name, sizeof name);
        threadName = name;
        return 0;
    }
    int sawArgc = -1;
    const char** sawArgv = reinterpret_cast<const char**>(1);
    std::string threadName;
};
} // namespace

TEST(zThread, RunsTheBodyOnANamedThreadAndJoins) {
    RecordingBody body;
    auto thread = zThread::Factory("qcp.window.monitor.long", body);
    thread->Join(); // joining makes the body's writes visible here
    EXPECT_EQ(body.sawArgc, 0);
    EXPECT_EQ(body.sawArgv, nullptr);
    EXPECT_EQ(body.threadName, "qcp.window.moni"); // the system keeps 15 bytes
    EXPECT_EQ(thread->Name(), "qcp.window.monitor.long");
    thread->Join(); // a second join is harmless
}

namespace {
// A body that joins and then releases its own thread object, as a monitor
// does when it ends itself.
struct SelfEndingBody : zThreadMain {
    int Main(int, const char**) override {
        started.Wait(kHang);
        owner->Join(); // from its own thread: must return, not throw
        owner.reset();
        finished.Raise();
        return 0;
    }
    zSignal started, finished;
    std::unique_ptr<zThread> owner;
};
} // namespace

TEST(zThread, MayBeJoinedAndReleasedFromItsOwnThread) {
    // Static: the thread may still be leaving Main() when the test ends.
    static SelfEndingBody body;
    body.owner = zThread::Factory("qcp.self", body);
    body.started.Raise();
    EXPECT_EQ(body.finished.Wait(kHang), zSignal::WaitResult::Signalled);
}
