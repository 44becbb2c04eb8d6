// A capture source over the simulated desktop, seen from its observer.
#include <algorithm>

#include "CaptureFixture.h"
#include "ManualClock.h"
#include "WaitFor.h"
#include "MacCaptureWindowManager.h"

using namespace std::chrono_literals;
using qcp::platform::sim::ReadStamp;

TEST_F(CaptureTest, DisplayNeedsAFrameFirst) {
    MC::MacCaptureSource source("s", "name");
    EXPECT_FALSE(source.setCaptureDisplay(kDisplay));
    EXPECT_TRUE(source.setCaptureFrame(0, 0, 1920, 1080));
    EXPECT_TRUE(source.setCaptureDisplay(kDisplay));
    EXPECT_FALSE(source.setCaptureWindow(0, 0));
    EXPECT_EQ(source.getCaptureFrame(), (zRect{0, 0, 1920, 1080}));
}

TEST_F(CaptureTest, DisplayFramesComeAtTheFrameSizeWhenNoOutputSizeIsSet) {
    RecordingObserver observer;
    MC::MacCaptureSource source("s", "name");
    source.registerObserver(&observer);
    source.setCaptureFrame(0, 0, 1920, 1080);
    ASSERT_TRUE(source.setCaptureDisplay(kDisplay));
    ASSERT_TRUE(source.start());
    world().TouchDisplay(kDisplay);
    auto frames = observer.WaitFor(1, [](const SeenFrame& f) { return f.stamp && f.stamp->identity == kDisplay; });
    auto video = std::find_if(frames.begin(), frames.end(), [](auto& f) { return f.stamp; });
    ASSERT_NE(video, frames.end());
    EXPECT_EQ(video->width, 1920);
    EXPECT_EQ(video->height, 1080);
    EXPECT_EQ(video->surfaceWidth, 1920u);
    EXPECT_EQ(video->surfaceHeight, 1080u);
    EXPECT_GT(video->time, 0u) << "without the cursor the stream's display time goes out";
    EXPECT_TRUE(source.isRunng());
    EXPECT_TRUE(source.stop());
    EXPECT_FALSE(source.isRunng());
    source.removeObserver(&observer);
    source.removeObserver(&observer); // harmless
}

TEST_F(CaptureTest, RegionDeliversTheRegionsContent) {
    world().AddProcess(10, "App");
    const uint32_t window = world().OpenWindow(10, "W", {150, 150, 400, 300});
    RecordingObserver observer;
    observer.keepPixels = true;
    MC::MacCaptureSource source("s", "name");
    source.registerObserver(&observer);
    source.setCaptureFrame(100, 100, 200, 150);
    source.setOutputSize(200, 150);
    source.setCaptureDisplay(kDisplay);
    ASSERT_TRUE(source.start());
    auto frames = observer.WaitFor(1, [](auto& f) { return f.surfaceWidth == 200; });
    auto region = std::find_if(frames.begin(), frames.end(), [](auto& f) { return f.surfaceWidth == 200; });
    ASSERT_NE(region, frames.end());
    ASSERT_EQ(region->surfaceHeight, 150u);
    // The window's corner at (150, 150) lies at (50, 50) of the region.
    auto stamp = ReadStamp(region->pixels.data(), 200 * 4, 200, 150, 50, 50);
    ASSERT_TRUE(stamp);
    EXPECT_EQ(stamp->identity, window);
    source.stop();
}

TEST_F(CaptureTest, WithTheCursorFramesGoOutAtTimeZeroSixtyTimesASecond) {
    ManualClock clock; // the render loop and the stream both follow it
    RecordingObserver observer;
    MC::MacCaptureSource source("s", "name");
    source.setShowCursor(true);
    source.registerObserver(&observer);
    source.setCaptureFrame(0, 0, 1920, 1080);
    source.setCaptureDisplay(kDisplay);
    ASSERT_TRUE(source.start());
    auto composed = [&] {
        const std::vector<SeenFrame> frames = observer.Frames();
        return size_t(std::count_if(frames.begin(), frames.end(), [](auto& f) { return f.stamp && f.time == 0; }));
    };
    // A refresh of the display brings a stream frame, which is enough: the
    // render loop repeats it with the cursor. (The stream's thread reads the
    // clock when it starts: refresh until it has.) The clock then stands
    // still until the loop's first pass is out: moved on under a slow first
    // pass, it would owe a second one at once.
    ASSERT_TRUE(FirstStreamFrame(clock));
    ASSERT_TRUE(WaitFor([&] { return composed() > 0; }, 10s));
    const size_t first = composed();
    // From here each period of the clock brings exactly one more pass,
    // however long a pass takes in real time: sixty for a second.
    for (size_t pass = 1; pass <= 60; ++pass) {
        clock.Advance(MC::MacCaptureSource::kRenderIntervalMicros);
        ASSERT_TRUE(WaitFor([&] { return composed() >= first + pass; }, 10s));
        ASSERT_EQ(composed(), first + pass);
    }
    source.stop();
    observer.Clear();
    clock.Advance(100'000);
    EXPECT_EQ(composed(), 0u) << "the render loop ends with the stream";
}

TEST_F(CaptureTest, NoFeedFramesOnlyWhileObservedAndNotRunning) {
    RecordingObserver observer;
    MC::MacCaptureSource source("s", "name");
    source.registerObserver(&observer);
    auto frames = observer.WaitFor(1);
    ASSERT_EQ(frames.size(), 1u);
    EXPECT_EQ(frames[0].width, 1280);
    EXPECT_EQ(frames[0].height, 720);
    EXPECT_EQ(frames[0].surfaceWidth, 1280u);
    EXPECT_EQ(frames[0].surfaceHeight, 720u);
    EXPECT_FALSE(frames[0].stamp) << "an empty transparent picture";
    EXPECT_GT(frames[0].time, 0u);
}

TEST_F(CaptureTest, ClosedWindowSendsNoFramesAtAll) {
    world().AddProcess(10, "App");
    const uint32_t window = world().OpenWindow(10, "W", {100, 100, 320, 200});
    MC::MacCaptureWindowManager::refreshLists();
    RecordingObserver observer;
    MC::MacCaptureSource source("s", "name");
    source.registerObserver(&observer);
    source.setCaptureFrame(100, 100, 320, 200);
    source.setCaptureDisplay(kDisplay);
    source.setCaptureWindow(int(window), 33333);
    ASSERT_TRUE(source.start());
    auto frames = observer.WaitFor(2, [&](auto& f) { return f.stamp && f.stamp->identity == window; });
    auto first = std::find_if(frames.begin(), frames.end(), [](auto& f) { return f.stamp; });
    ASSERT_NE(first, frames.end());
    EXPECT_EQ(first->width, 0) << "the window path passes the output size as set";
    EXPECT_EQ(first->height, 0);
    EXPECT_EQ(first->surfaceWidth, 320u);

    world().CloseWindow(window);
    MC::MacCaptureWindowManager::refreshLists();
    auto ticks = [&](uint64_t count) {
        const uint64_t target = world().Counters().linkTicks + count;
        ASSERT_TRUE(WaitFor([&] { return world().Counters().linkTicks >= target; }, 10s));
    };
    ticks(2); // a frame already on its way has arrived
    observer.Clear();
    ticks(10);
    EXPECT_TRUE(observer.Frames().empty());
    source.stop();
}
