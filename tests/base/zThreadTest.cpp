#include "zThread.h"

#include <gtest/gtest.h>

#include <memory>

#include "zSignal.h"

namespace {
constexpr int64_t kHang = 30'000'000; // only a broken thread waits this out

// A body that joins and then releases its own thread object, as a monitor
// would when it ends itself.
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
    // A repeated run starts afresh: the signals stay raised from the last.
    body.started.Reset();
    body.finished.Reset();
    body.owner = zThread::Factory("qcp.self", body);
    body.started.Raise();
    EXPECT_EQ(body.finished.Wait(kHang), zSignal::WaitResult::Signalled);
}
