#include "SimDisplayStream.h"

#include <gtest/gtest.h>

#include "SimPlatform.h"
#include "SimStreamRecorder.h"

using namespace qcp::platform;
using namespace qcp::platform::sim;

namespace {
constexpr uint32_t kMain = 11, kSide = 22;
constexpr int32_t kApp = 900;

std::vector<FrameStatus> Statuses(const std::vector<SimStreamRecorder::Delivery>& deliveries) {
    std::vector<FrameStatus> statuses;
    for (const auto& delivery : deliveries) statuses.push_back(delivery.status);
    return statuses;
}

// A stepped world: each Step() is one refresh of every display.
class SimDisplayStreamTest : public ::testing::Test {
protected:
    void SetUp() override {
        world().AddScreen({kMain, {0, 0, 1920, 1080}, 1.0, "Main", 60});
        world().AddScreen({kSide, {1920, 56, 1280, 1024}, 1.0, "Side", 60});
        world().AddProcess(kApp, "App");
        world().Clock().SetStepped(true);
    }

    SimWorld& world() { return platform.world(); }

    std::unique_ptr<DisplayStream> MakeStream(SimStreamRecorder& recorder, uint32_t display, uint32_t width,
                                              uint32_t height, std::optional<Rect> sourceRect = std::nullopt) {
        DisplayStreamConfig config;
        config.displayID = display;
        config.outputWidth = width;
        config.outputHeight = height;
        config.sourceRect = sourceRect;
        config.queue = &recorder.queue();
        config.handler = recorder.Handler();
        return platform.createDisplayStream(std::move(config));
    }

    SimPlatform platform;
};
} // namespace

TEST_F(SimDisplayStreamTest, DeliversAFrameThenIdlesOnceUntilTheContentChanges) {
    SimStreamRecorder recorder;
    auto stream = MakeStream(recorder, kMain, 960, 540);
    ASSERT_TRUE(stream);
    ASSERT_TRUE(stream->Start());
    world().Clock().Step(4);
    auto deliveries = recorder.Take();
    ASSERT_EQ(Statuses(deliveries), (std::vector{FrameStatus::Complete, FrameStatus::Idle}));
    EXPECT_EQ(deliveries[0].stamp, world().DisplayStamp(kMain));
    EXPECT_EQ(deliveries[0].width, 960u);
    EXPECT_EQ(deliveries[0].height, 540u);

    world().TouchDisplay(kMain);
    world().Clock().Step(2);
    deliveries = recorder.Take();
    ASSERT_EQ(Statuses(deliveries), (std::vector{FrameStatus::Complete, FrameStatus::Idle}));
    EXPECT_EQ(deliveries[0].stamp, world().DisplayStamp(kMain));
}

TEST_F(SimDisplayStreamTest, ChangesOnAnotherDisplayDoNotWakeTheStream) {
    SimStreamRecorder recorder;
    auto stream = MakeStream(recorder, kMain, 192, 108);
    stream->Start();
    world().Clock().Step(2);
    recorder.Take();
    world().OpenWindow(kApp, "Elsewhere", {2000, 100, 300, 200});
    world().Clock().Step(3);
    EXPECT_TRUE(recorder.Take().empty());
}

TEST_F(SimDisplayStreamTest, StopIsAnsweredByAStoppedStatusAfterTheFramesOnTheirWay) {
    SimStreamRecorder recorder;
    auto stream = MakeStream(recorder, kMain, 64, 36);
    stream->Start();
    world().Clock().Step();
    EXPECT_TRUE(stream->Stop());
    world().Clock().Step(3); // a stopped stream no longer ticks
    EXPECT_EQ(Statuses(recorder.Take()), (std::vector{FrameStatus::Complete, FrameStatus::Stopped}));
    EXPECT_FALSE(stream->Stop());
    EXPECT_TRUE(recorder.Take().empty());
    EXPECT_EQ(world().Counters().runningStreams, 0);

    // Started again, it delivers a frame at once even though nothing changed.
    ASSERT_TRUE(stream->Start());
    world().Clock().Step();
    EXPECT_EQ(Statuses(recorder.Take()), (std::vector{FrameStatus::Complete}));
}

TEST_F(SimDisplayStreamTest, AnUnpluggedDisplayEndsTheRunWithAStoppedStatusOfItsOwn) {
    SimStreamRecorder recorder;
    auto stream = MakeStream(recorder, kSide, 64, 64);
    stream->Start();
    world().Clock().Step();
    world().RemoveScreen(kSide);
    world().Clock().Step(2);
    EXPECT_EQ(Statuses(recorder.Take()), (std::vector{FrameStatus::Complete, FrameStatus::Stopped}));
    EXPECT_FALSE(stream->Stop());
    EXPECT_FALSE(stream->Start());
    EXPECT_TRUE(recorder.Take().empty());
    EXPECT_FALSE(platform.createDisplayStream({kSide, 64, 64, kPixelFormatBGRA, {}, &recorder.queue(),
                                               recorder.Handler()}));
}

TEST_F(SimDisplayStreamTest, AReconfiguredDisplayKeepsStreamingAtTheOutputSize) {
    SimStreamRecorder recorder;
    auto stream = MakeStream(recorder, kSide, 640, 512);
    stream->Start();
    world().Clock().Step(2);
    recorder.Take();
    world().ReconfigureScreen(kSide, {1920, 336, 1024, 768});
    world().Clock().Step();
    const auto deliveries = recorder.Take();
    ASSERT_EQ(Statuses(deliveries), (std::vector{FrameStatus::Complete}));
    EXPECT_EQ(deliveries[0].width, 640u);
    EXPECT_EQ(deliveries[0].stamp, world().DisplayStamp(kSide));
}

TEST_F(SimDisplayStreamTest, AStalledStreamDeliversNothingButStillAnswersStop) {
    SimStreamRecorder recorder;
    auto stream = MakeStream(recorder, kMain, 64, 36);
    world().SetStreamsStalled(true);
    stream->Start();
    world().TouchDisplay(kMain);
    world().Clock().Step(3);
    EXPECT_TRUE(recorder.Take().empty());
    world().SetStreamsStalled(false);
    world().Clock().Step();
    EXPECT_EQ(Statuses(recorder.Take()), (std::vector{FrameStatus::Complete}));
    world().SetStreamsStalled(true);
    stream->Stop();
    EXPECT_EQ(Statuses(recorder.Take()), (std::vector{FrameStatus::Stopped}));
}

TEST_F(SimDisplayStreamTest, ASleepingDisplayIsBlankOnceAndWakesWithAFrame) {
    SimStreamRecorder recorder;
    auto stream = MakeStream(recorder, kMain, 64, 36);
    stream->Start();
    world().Clock().Step();
    world().SetDisplayAsleep(kMain, true);
    world().Clock().Step(3);
    world().SetDisplayAsleep(kMain, false);
    world().Clock().Step();
    EXPECT_EQ(Statuses(recorder.Take()),
              (std::vector{FrameStatus::Complete, FrameStatus::Blank, FrameStatus::Complete}));
}

TEST_F(SimDisplayStreamTest, TheSourceRectangleIsScaledToTheOutputSize) {
    // A window at (400, 300) on the main display; capture (200, 100, 800, 600)
    // into 400 x 300: the window's corner lands at ((400-200)/2, (300-100)/2).
    const uint32_t window = world().OpenWindow(kApp, "Doc", {400, 300, 200, 100});
    SimStreamRecorder recorder(true);
    auto stream = MakeStream(recorder, kMain, 400, 300, Rect{200, 100, 800, 600});
    stream->Start();
    world().Clock().Step();
    auto deliveries = recorder.Take();
    ASSERT_EQ(deliveries.size(), 1u);
    EXPECT_EQ(deliveries[0].stamp, world().DisplayStamp(kMain));
    const auto found = FindStamp(*deliveries[0].surface, window);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->x, 100);
    EXPECT_EQ(found->y, 100);
    EXPECT_EQ(found->stamp, world().WindowStamp(window));
}

TEST_F(SimDisplayStreamTest, WindowsOnTheSecondDisplayAreDrawnInItsOwnCoordinates) {
    // The side display's top-left is (1920, 0) in window coordinates.
    const uint32_t window = world().OpenWindow(kApp, "Side", {2020, 50, 200, 100});
    const uint32_t offScreen = world().OpenWindow(kApp, "Away", {2300, 300, 200, 100});
    world().SetWindowSpace(offScreen, 3);
    SimStreamRecorder recorder(true);
    auto stream = MakeStream(recorder, kSide, 1280, 1024);
    stream->Start();
    world().Clock().Step();
    auto deliveries = recorder.Take();
    ASSERT_EQ(deliveries.size(), 1u);
    const auto found = FindStamp(*deliveries[0].surface, window);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->x, 100);
    EXPECT_EQ(found->y, 50);
    EXPECT_FALSE(FindStamp(*deliveries[0].surface, offScreen));
}

TEST_F(SimDisplayStreamTest, NeverPaintsOverAFrameSomeoneStillHolds) {
    SimStreamRecorder recorder(true); // holds every frame it receives
    auto stream = MakeStream(recorder, kMain, 32, 32);
    stream->Start();
    for (int i = 0; i < 6; ++i) {
        world().TouchDisplay(kMain);
        world().Clock().Step();
    }
    auto deliveries = recorder.Take();
    ASSERT_EQ(deliveries.size(), 4u);
    EXPECT_EQ(world().Counters().framesDropped, 2u);
    for (const auto& delivery : deliveries) EXPECT_EQ(ReadStamp(*delivery.surface), delivery.stamp);
    // Released, the surfaces are used again.
    deliveries.clear();
    world().Clock().Step();
    EXPECT_EQ(Statuses(recorder.Take()), (std::vector{FrameStatus::Complete}));
}

TEST_F(SimDisplayStreamTest, DestroyingARunningStreamSendsNothingMore) {
    SimStreamRecorder recorder;
    auto stream = MakeStream(recorder, kMain, 32, 32);
    stream->Start();
    world().Clock().Step();
    stream.reset();
    world().TouchDisplay(kMain);
    world().Clock().Step(2);
    const auto deliveries = recorder.Take();
    // The frame already posted may or may not have been handled first.
    EXPECT_LE(deliveries.size(), 1u);
    for (const auto& delivery : deliveries) EXPECT_EQ(delivery.status, FrameStatus::Complete);
    EXPECT_EQ(world().Counters().runningStreams, 0);
}

TEST_F(SimDisplayStreamTest, StreamsRunOnTheirOwnInRealTime) {
    world().Clock().SetStepped(false);
    SimStreamRecorder recorder;
    auto stream = MakeStream(recorder, kMain, 32, 32);
    stream->Start();
    // Liveness only: wait (without a deadline check) for the first frame.
    while (world().Counters().framesDelivered == 0) std::this_thread::yield();
    stream->Stop();
    const auto deliveries = recorder.Take();
    ASSERT_GE(deliveries.size(), 2u);
    EXPECT_EQ(deliveries.front().status, FrameStatus::Complete);
    EXPECT_EQ(deliveries.back().status, FrameStatus::Stopped);
}
