#include "CARingBuffer.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "SampleChannels.h"

namespace {

constexpr UInt32 kChannels = 2;
constexpr UInt32 kCapacity = 8;
constexpr uint32_t kStale = 0xDEADBEEF; // data a test left in the ring earlier
constexpr uint32_t kUnset = 0xA5A5A5A5; // what a destination held before the fetch

// What a fetch of [first, first + frames) gives on `channel` when the ring
// holds [validStart, validEnd) as stamps: the stamps, and silence around them.
std::vector<uint32_t> Expected(UInt32 channel, SInt64 first, UInt32 frames, SInt64 validStart, SInt64 validEnd) {
    std::vector<uint32_t> samples(frames, 0);
    for (UInt32 i = 0; i < frames; ++i)
        if (first + i >= validStart && first + i < validEnd) samples[i] = SampleChannels::Stamp(channel, first + i);
    return samples;
}

class CARingBufferTest : public ::testing::Test {
protected:
    using Range = std::pair<SInt64, SInt64>;

    void SetUp() override { ring.Allocate(kChannels, SampleChannels::kBytesPerFrame, kCapacity); }

    void StoreStamps(SInt64 first, UInt32 frames) {
        SampleChannels stamps = SampleChannels::Stamped(kChannels, first, frames);
        ASSERT_EQ(ring.Store(stamps.list(), frames, first), kCARingBufferError_OK);
    }
    void StoreStale(SInt64 first, UInt32 frames) {
        SampleChannels stale(kChannels, frames, kStale);
        ASSERT_EQ(ring.Store(stale.list(), frames, first), kCARingBufferError_OK);
    }
    // Fetches into buffers of `room` frames (default: as many as asked for).
    SampleChannels Fetch(SInt64 first, UInt32 frames, UInt32 room = 0) {
        SampleChannels into(kChannels, room ? room : frames, kUnset);
        EXPECT_EQ(ring.Fetch(into.list(), frames, first), kCARingBufferError_OK);
        return into;
    }
    // A first store far from time 0 also holds the silence before it, so
    // the exact range takes two.
    void HoldStampsFrom100To108() {
        StoreStamps(96, 8);
        StoreStamps(104, 4);
        ASSERT_EQ(Bounds(), Range(100, 108));
    }
    std::pair<SInt64, SInt64> Bounds() {
        SInt64 start = -1, end = -1;
        EXPECT_EQ(ring.GetTimeBounds(start, end), kCARingBufferError_OK);
        return {start, end};
    }
    CARingBuffer ring;
};

} // namespace

TEST(CARingBufferCapacity, RoundsUpToAPowerOfTwoOfAtLeastOneFrame) {
    const std::pair<UInt32, UInt32> cases[] = {{0, 1}, {1, 1}, {3, 4}, {512, 512}, {513, 1024}};
    for (auto [requested, capacity] : cases) {
        CARingBuffer ring;
        ring.Allocate(1, 4, requested);
        SampleChannels stamps = SampleChannels::Stamped(1, 0, capacity + 1);
        EXPECT_EQ(ring.Store(stamps.list(), capacity, 0), kCARingBufferError_OK) << requested;
        EXPECT_EQ(ring.Store(stamps.list(), capacity + 1, 0), kCARingBufferError_TooMuch) << requested;
    }
}

TEST_F(CARingBufferTest, StoresAndFetchesEveryChannelAcrossTheWrap) {
    StoreStamps(0, 5);
    StoreStamps(5, 5); // wraps
    StoreStamps(10, 3);
    EXPECT_EQ(Bounds(), Range(5, 13)); // a capacity's worth of the newest frames

    SampleChannels all = Fetch(5, 8);
    SampleChannels middle = Fetch(7, 4); // wraps
    for (UInt32 c = 0; c < kChannels; ++c) {
        EXPECT_EQ(all.samples(c), Expected(c, 5, 8, 5, 13)) << c;
        EXPECT_EQ(all.buffer(c).mDataByteSize, 32u);
        EXPECT_EQ(middle.samples(c), Expected(c, 7, 4, 5, 13)) << c;
        EXPECT_EQ(middle.buffer(c).mDataByteSize, 16u);
    }
}

TEST_F(CARingBufferTest, RefusesMoreThanItsCapacityAndKeepsWhatItHeld) {
    StoreStamps(0, 6);
    SampleChannels tooMuch(kChannels, kCapacity + 1, kStale);
    EXPECT_EQ(ring.Store(tooMuch.list(), kCapacity + 1, 6), kCARingBufferError_TooMuch);
    EXPECT_EQ(ring.Store(tooMuch.list(), 0, 6), kCARingBufferError_OK);
    EXPECT_EQ(Bounds(), Range(0, 6));
    EXPECT_EQ(Fetch(0, 6).samples(1), Expected(1, 0, 6, 0, 6));
}

TEST_F(CARingBufferTest, TimeGoingBackwardsDiscardsEverythingHeld) {
    StoreStamps(0, 6);
    StoreStamps(3, 2);
    EXPECT_EQ(Bounds(), Range(3, 5));
    EXPECT_EQ(Fetch(0, 6).samples(0), Expected(0, 0, 6, 3, 5));
}

TEST_F(CARingBufferTest, WritingPastTheCapacityRetiresTheOldestFrames) {
    StoreStamps(0, 6);
    StoreStamps(6, 6);
    EXPECT_EQ(Bounds(), Range(4, 12));
    SampleChannels fetched = Fetch(0, 12);
    EXPECT_EQ(fetched.samples(0), Expected(0, 0, 12, 4, 12));
    EXPECT_EQ(fetched.buffer(0).mDataByteSize, 32u);
}

TEST_F(CARingBufferTest, AGapBetweenWritesReadsAsSilence) {
    StoreStamps(0, 8);
    StoreStamps(11, 2); // frames 8-10 are missing; their slots held frames 0-2
    EXPECT_EQ(Bounds(), Range(5, 13));
    std::vector<uint32_t> expected = Expected(1, 5, 8, 5, 13);
    for (SInt64 t = 8; t < 11; ++t) expected[t - 5] = 0;
    EXPECT_EQ(Fetch(5, 8).samples(1), expected);

    // The same with the gap running over the end of the channels.
    StoreStale(0, 8);
    StoreStamps(0, 6); // back in time: only frames 0-5 count, the slots of 6 and 7 stay stale
    StoreStamps(10, 2);
    EXPECT_EQ(Bounds(), Range(4, 12));
    expected = Expected(1, 4, 8, 4, 12);
    for (SInt64 t = 6; t < 10; ++t) expected[t - 4] = 0;
    EXPECT_EQ(Fetch(4, 8).samples(1), expected);
}

TEST_F(CARingBufferTest, FetchOutsideTheBoundsReadsSilenceAndLeavesTheSizes) {
    StoreStamps(100, 4);
    for (SInt64 first : {SInt64(0), SInt64(104), SInt64(200), SInt64(-50)}) {
        SampleChannels fetched = Fetch(first, 4, 6);
        const std::vector<uint32_t> silenceThenUntouched{0, 0, 0, 0, kUnset, kUnset};
        EXPECT_EQ(fetched.samples(0), silenceThenUntouched) << first;
        EXPECT_EQ(fetched.samples(1), silenceThenUntouched) << first;
        EXPECT_EQ(fetched.buffer(0).mDataByteSize, 24u) << first;
    }
}

TEST_F(CARingBufferTest, FetchStraddlingTheRangeZeroesTheMarginsAndCountsOnlyCopiedBytes) {
    HoldStampsFrom100To108();
    SampleChannels fetched = Fetch(98, 12);
    for (UInt32 c = 0; c < kChannels; ++c) {
        EXPECT_EQ(fetched.samples(c), Expected(c, 98, 12, 100, 108));
        EXPECT_EQ(fetched.buffer(c).mDataByteSize, 32u);
    }
}

TEST_F(CARingBufferTest, FetchBeforeTimeZeroStartsAtZero) {
    StoreStamps(0, 8);
    // Raised to [0, 4), not frames -2 and -1 as silence.
    EXPECT_EQ(Fetch(-2, 4).samples(0), Expected(0, 0, 4, 0, 8));
}

TEST_F(CARingBufferTest, FetchNeverWritesPastADestinationBuffer) {
    HoldStampsFrom100To108();
    SampleChannels leading(kChannels, 8, kUnset);
    SampleChannels trailing(kChannels, 8, kUnset);
    for (UInt32 c = 0; c < kChannels; ++c) leading.buffer(c).mDataByteSize = trailing.buffer(c).mDataByteSize = 12;

    ASSERT_EQ(ring.Fetch(leading.list(), 6, 98), kCARingBufferError_OK);
    ASSERT_EQ(ring.Fetch(trailing.list(), 8, 104), kCARingBufferError_OK);
    auto stamp = [](SInt64 t) { return SampleChannels::Stamp(1, t); };
    EXPECT_EQ(leading.samples(1), (std::vector<uint32_t>{0, 0, stamp(100), kUnset, kUnset, kUnset, kUnset, kUnset}));
    EXPECT_EQ(trailing.samples(1),
              (std::vector<uint32_t>{stamp(104), stamp(105), stamp(106), kUnset, kUnset, kUnset, kUnset, kUnset}));
}

TEST_F(CARingBufferTest, AShortSourceBufferShutsOutTheBuffersAfterIt) {
    StoreStale(0, 6);
    SampleChannels stamps = SampleChannels::Stamped(kChannels, 6, 4);
    stamps.buffer(0).mDataByteSize = 4; // one frame
    // Wraps after frames 6 and 7: the second piece starts past channel 0's
    // bytes, so channel 0 is skipped and channel 1 is not visited either.
    ASSERT_EQ(ring.Store(stamps.list(), 4, 6), kCARingBufferError_OK);
    EXPECT_EQ(Bounds(), Range(2, 10));

    SampleChannels fetched = Fetch(6, 4);
    EXPECT_EQ(fetched.samples(0), (std::vector<uint32_t>{SampleChannels::Stamp(0, 6), 0, kStale, kStale}));
    EXPECT_EQ(fetched.samples(1),
              (std::vector<uint32_t>{SampleChannels::Stamp(1, 6), SampleChannels::Stamp(1, 7), kStale, kStale}));
}

TEST_F(CARingBufferTest, ClipTimeBoundsNarrowsToTheValidRange) {
    ring.SetTimeBounds(10, 20);
    const std::pair<Range, Range> cases[] = {
        {{0, 5}, {0, 0}},     {{25, 30}, {25, 25}}, // wholly outside: empty at the start asked for
        {{5, 10}, {10, 10}},  {{20, 25}, {20, 20}}, // touching an end: empty at that end
        {{5, 15}, {10, 15}},  {{15, 25}, {15, 20}}, {{5, 25}, {10, 20}}, {{12, 18}, {12, 18}},
    };
    for (auto [asked, clipped] : cases) {
        Range range = asked;
        EXPECT_EQ(ring.ClipTimeBounds(range.first, range.second), kCARingBufferError_OK);
        EXPECT_EQ(range, clipped) << asked.first << ".." << asked.second;
    }
}

TEST_F(CARingBufferTest, ReallocatingOrDeallocatingForgetsTheHeldRange) {
    StoreStamps(100, 4);
    ring.Deallocate();
    EXPECT_EQ(Fetch(100, 4).samples(0), std::vector<uint32_t>(4, 0));
    SampleChannels stamps = SampleChannels::Stamped(kChannels, 0, 1);
    EXPECT_EQ(ring.Store(stamps.list(), 1, 0), kCARingBufferError_TooMuch);

    ring.Allocate(kChannels, SampleChannels::kBytesPerFrame, kCapacity);
    EXPECT_EQ(Bounds(), Range(0, 0));
    StoreStamps(100, 4);
    ring.Allocate(kChannels, SampleChannels::kBytesPerFrame, kCapacity);
    EXPECT_EQ(Bounds(), Range(0, 0));
}
