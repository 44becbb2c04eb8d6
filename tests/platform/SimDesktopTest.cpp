// The parts of the simulated desktop that the capture and plug-in tests build
// on: stepped time, stamps, display streams, display links and window numbers.
#include <gtest/gtest.h>

#include <atomic>

#include "SimPlatform.h"
#include "SimStamp.h"
#include "SimTicker.h"
#include "zQueue.h"

using namespace qcp::platform;
using namespace qcp::platform::sim;

namespace {
constexpr uint32_t kMain = 11;
constexpr int32_t kApp = 900;
using Deliveries = std::vector<std::pair<FrameStatus, std::optional<Stamp>>>;

// One stepped display: each Step() is one refresh.
class SimDesktopTest : public ::testing::Test {
protected:
    void SetUp() override {
        world().AddScreen({kMain, {0, 0, 1920, 1080}, 1.0, "Main", 60});
        world().AddProcess(kApp, "App");
        world().Clock().SetStepped(true);
    }
    SimWorld& world() { return platform.world(); }
    // What the stream delivered since the last call, once its queue has run.
    Deliveries Take() {
        Deliveries taken;
        queue.Sync([&] { taken = std::exchange(deliveries, {}); });
        return taken;
    }

    SimPlatform platform;
    Deliveries deliveries; // touched on `queue` only
    zQueue queue{"test stream queue"};
};
} // namespace

TEST(SimClock, StepRunsEveryTickerOnceAndWaitsForThem) {
    SimClock clock;
    clock.SetStepped(true);
    std::atomic<int> a{0}, b{0};
    SimTicker first(clock, "t1", 1'000'000'000, [&] { ++a; });
    SimTicker second(clock, "t2", 1, [&] { ++b; });
    clock.Step(5);
    EXPECT_EQ(a, 5);
    EXPECT_EQ(b, 5);
}

TEST(SimStamp, ReadsBackEveryBitAndIsFoundByIdentity) {
    const SurfaceRef surface = SurfaceRef::Adopt(Surface::Create(SurfaceProperties::Packed(100, 40)));
    for (const Stamp stamp : {Stamp{1, 0}, Stamp{0xFFFFFFFF, 0x80000001}, Stamp{0x12345678, 0x9ABCDEF0}}) {
        {
            SurfaceLock lock(*surface);
            WriteStamp(surface->baseAddress(), surface->bytesPerRow(), 37, 21, stamp);
        }
        const auto found = FindStamp(*surface, stamp.identity);
        ASSERT_TRUE(found);
        EXPECT_EQ(found->stamp, stamp);
        EXPECT_EQ(found->x, 37);
        EXPECT_EQ(found->y, 21);
    }
    EXPECT_FALSE(ReadStamp(*surface)); // nothing in its corner
    EXPECT_FALSE(FindStamp(*surface, 7));
}

TEST_F(SimDesktopTest, AStreamDeliversChangesIdlesOnceOtherwiseAndAnswersStop) {
    auto record = [this](FrameStatus status, uint64_t, Surface* surface, const DirtyRects&) {
        deliveries.emplace_back(status, surface ? ReadStamp(*surface) : std::nullopt);
    };
    auto stream = platform.createDisplayStream({kMain, 960, 540, kPixelFormatBGRA, {}, &queue, record});
    ASSERT_TRUE(stream);
    ASSERT_TRUE(stream->Start());
    for (int round = 0; round < 2; ++round) {
        world().Clock().Step(4);
        EXPECT_EQ(Take(), (Deliveries{{FrameStatus::Complete, world().DisplayStamp(kMain)},
                                      {FrameStatus::Idle, std::nullopt}}));
        world().TouchDisplay(kMain);
    }
    EXPECT_TRUE(stream->Stop());
    world().Clock().Step(3); // a stopped stream no longer ticks
    EXPECT_EQ(Take(), (Deliveries{{FrameStatus::Stopped, std::nullopt}}));
    EXPECT_FALSE(stream->Stop());
}

TEST_F(SimDesktopTest, ADisplayLinkTicksOncePerStepUntilStopped) {
    std::atomic<int> calls{0};
    auto link = platform.createDisplayLink(kMain, [&](int64_t) { ++calls; });
    ASSERT_TRUE(link);
    ASSERT_TRUE(link->Start());
    world().Clock().Step(3);
    link->Stop();
    EXPECT_FALSE(link->IsRunning());
    world().Clock().Step(3);
    EXPECT_EQ(calls, 3);
}

TEST_F(SimDesktopTest, ReopeningAWindowGivesANewNumberWithTheSameTitleAndPlace) {
    const uint32_t first = world().OpenWindow(kApp, "Document", {100, 100, 400, 300});
    const uint32_t reopened = world().ReopenWindow(first);
    EXPECT_NE(reopened, first);
    EXPECT_FALSE(world().WindowEntry(first));
    const auto entry = world().WindowEntry(reopened);
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->title, "Document");
    EXPECT_EQ(entry->bounds, (Rect{100, 100, 400, 300}));
    EXPECT_EQ(world().ReopenWindow(first), 0u);
}
