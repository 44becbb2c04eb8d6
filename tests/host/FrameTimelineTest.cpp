// Frames placed on the recorded video by their capture time.
#include <gtest/gtest.h>

#include <vector>

#include "FrameTimeline.h"

using qcphost::FrameTimeline;

namespace {

// How many times each frame is written, for frames captured at `times`,
// the capture ending at `end`.
std::vector<uint64_t> Repeats(const std::vector<double>& times, double end) {
    FrameTimeline timeline(60);
    std::vector<uint64_t> repeats;
    for (const double time : times) {
        const uint64_t held = timeline.Arrive(time);
        if (!repeats.empty()) repeats.back() = held;
        repeats.push_back(0);
    }
    if (!repeats.empty()) repeats.back() = timeline.End(end);
    return repeats;
}

} // namespace

TEST(FrameTimeline, EachFrameLastsUntilTheNextOneAndTheVideoAsLongAsTheCapture) {
    // A steady 60 a second: one slot each.
    EXPECT_EQ(Repeats({0, 1 / 60.0, 2 / 60.0}, 3 / 60.0), (std::vector<uint64_t>{1, 1, 1}));
    // The first frame came late: it also fills the time before it. A pause
    // of half a second: the frame before it stays on screen.
    EXPECT_EQ(Repeats({0.25, 0.30, 0.80}, 1.0), (std::vector<uint64_t>{18, 30, 12}));
    // Two frames in one slot: only the later one is seen.
    EXPECT_EQ(Repeats({0.1, 0.5, 0.501, 0.52}, 0.6), (std::vector<uint64_t>{30, 0, 1, 5}));
    // A frame stamped before one already placed takes no time back.
    EXPECT_EQ(Repeats({0.1, 0.5, 0.4, 0.6}, 0.6), (std::vector<uint64_t>{30, 0, 6, 1}));
    // The capture ended with its last frame: that frame is still seen once.
    EXPECT_EQ(Repeats({0, 0.5}, 0.5), (std::vector<uint64_t>{30, 1}));
}

TEST(FrameTimeline, TheVideoIsWithinOneSlotOfTheCaptureWhereverItsLastFrameFalls) {
    for (double fraction = 0; fraction < 1; fraction += 0.05) {
        const double end = 0.5 + fraction / 60;
        for (const double last : {end, end - 0.004, end - 1 / 60.0}) {
            FrameTimeline timeline(60);
            timeline.Arrive(0.1);
            timeline.Arrive(last);
            timeline.End(end);
            EXPECT_NEAR(timeline.seconds(), end, 1 / 60.0 + 1e-9) << "last frame at " << last << ", end " << end;
        }
    }
}

TEST(FrameTimeline, ATenMinuteCaptureWithIrregularFramesKeepsItsLength) {
    FrameTimeline timeline(60);
    uint64_t written = 0;
    double time = 0.3;
    for (int i = 0; time < 600; ++i, time += (i % 7 == 0 ? 0.05 : 0.0161)) written += timeline.Arrive(time);
    written += timeline.End(601);
    EXPECT_EQ(written, 36060u);
    EXPECT_EQ(timeline.written(), written);
    EXPECT_DOUBLE_EQ(timeline.seconds(), 601);
    EXPECT_EQ(FrameTimeline(60).End(5), 0u) << "no frame, no video";
}
