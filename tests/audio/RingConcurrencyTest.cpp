// One writer thread and one reader thread on each ring, as the audio threads
// use them, moving tens of megabytes of a known sequence. Nothing here sleeps:
// a side that has to wait yields and tries again, and gives up only after a
// bound that a working ring never comes near.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

#include "CARingBuffer.h"
#include "SampleChannels.h"
#include "vnCircularBuffer.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr auto kGiveUpAfter = std::chrono::seconds(90);

// Block lengths that vary from call to call, so that wraps fall everywhere.
class Lengths {
public:
    Lengths(uint32_t seed, uint32_t most) : fState(seed), fMost(most) {}
    uint32_t Next() {
        fState = fState * 1664525u + 1013904223u;
        return 1 + (fState >> 8) % fMost;
    }

private:
    uint32_t fState;
    uint32_t fMost;
};

// Byte k of the stream: the little-endian bytes of the 32-bit counter k / 4.
void StreamBytes(uint64_t from, uint32_t count, uint8_t* out) {
    for (uint32_t i = 0; i < count; ++i) {
        const uint64_t k = from + i;
        out[i] = uint8_t(uint32_t(k / 4) >> (8 * (k % 4)));
    }
}

} // namespace

TEST(RingConcurrency, ByteRingCarriesAStreamIntactBetweenTwoThreads) {
    constexpr uint64_t kTotal = 32ull << 20;
    vnCircularBuffer* ring = new vnCircularBuffer(4096);
    ring->SetAllowOverwriting(false);
    const auto deadline = Clock::now() + kGiveUpAfter;
    std::atomic<bool> stop{false};

    std::thread writer([&] {
        Lengths lengths(1, 1500);
        std::vector<uint8_t> block(1500);
        for (uint64_t sent = 0; sent < kTotal && !stop;) {
            const uint32_t n = uint32_t(std::min<uint64_t>(lengths.Next(), kTotal - sent));
            StreamBytes(sent, n, block.data());
            // A refused write is tried again with the same bytes once the reader made room.
            while (!stop && ring->TotalNumberOfBytesWritten() == int64_t(sent)) {
                ring->WriteData(block.data(), n);
                if (ring->TotalNumberOfBytesWritten() == int64_t(sent)) std::this_thread::yield();
                if (Clock::now() > deadline) stop = true;
            }
            sent += n;
        }
    });

    Lengths lengths(2, 1500);
    std::vector<uint8_t> got(1500), expected(1500);
    uint64_t received = 0;
    uint64_t zeroFilledShortReads = 0, badShortReads = 0;
    while (received < kTotal && !stop) {
        const uint32_t n = uint32_t(std::min<uint64_t>(lengths.Next(), kTotal - received));
        for (;;) {
            std::fill(got.begin(), got.begin() + n, 0xFF);
            ring->ReadData(got.data(), n);
            if (ring->TotalNumberOfBytesRead() != int64_t(received)) break;
            // Not enough yet: silence, nothing consumed.
            (std::all_of(got.begin(), got.begin() + n, [](uint8_t b) { return b == 0; }) ? zeroFilledShortReads
                                                                                          : badShortReads)++;
            std::this_thread::yield();
            if (Clock::now() > deadline) {
                stop = true;
                break;
            }
        }
        if (stop) break;
        StreamBytes(received, n, expected.data());
        if (std::memcmp(got.data(), expected.data(), n) != 0) {
            ADD_FAILURE() << "corrupt block of " << n << " bytes at stream byte " << received;
            stop = true;
            break;
        }
        received += n;
    }
    writer.join();
    ASSERT_FALSE(stop) << "stalled after " << received << " of " << kTotal << " bytes";
    EXPECT_EQ(received, kTotal);
    EXPECT_EQ(ring->TotalNumberOfBytesWritten(), int64_t(kTotal));
    EXPECT_EQ(badShortReads, 0u) << "a read that consumed nothing returned something other than silence";
    ring->Release();
}

TEST(RingConcurrency, SampleRingCarriesEveryChannelIntactBetweenTwoThreads) {
    constexpr UInt32 kChannels = 2, kCapacity = 2048, kMostFrames = 700;
    constexpr SInt64 kTotalFrames = 4 << 20; // 32 MiB over both channels
    CARingBuffer ring;
    ring.Allocate(kChannels, SampleChannels::kBytesPerFrame, kCapacity);
    const auto deadline = Clock::now() + kGiveUpAfter;
    std::atomic<bool> stop{false};
    // How far the reader has finished copying: the writer stays a capacity
    // ahead of it at most, so it never rewrites frames being fetched. A
    // capacity above two of the longest blocks keeps both sides moving.
    std::atomic<SInt64> consumed{0};

    std::thread writer([&] {
        Lengths lengths(3, kMostFrames);
        for (SInt64 written = 0; written < kTotalFrames && !stop;) {
            const UInt32 n = UInt32(std::min<SInt64>(lengths.Next(), kTotalFrames - written));
            SampleChannels stamps = SampleChannels::Stamped(kChannels, written, n);
            while (!stop && written + n - consumed.load(std::memory_order_acquire) > kCapacity) {
                std::this_thread::yield();
                if (Clock::now() > deadline) stop = true;
            }
            if (stop) break;
            if (ring.Store(stamps.list(), n, written) != kCARingBufferError_OK) {
                ADD_FAILURE() << "Store refused " << n << " frames at " << written;
                stop = true;
            }
            written += n;
        }
    });

    Lengths lengths(4, kMostFrames);
    SampleChannels into(kChannels, kMostFrames);
    SInt64 read = 0;
    uint64_t overloads = 0;
    while (read < kTotalFrames && !stop) {
        const UInt32 n = UInt32(std::min<SInt64>(lengths.Next(), kTotalFrames - read));
        SInt64 start = 0, end = 0;
        for (;;) {
            const CARingBufferError error = ring.GetTimeBounds(start, end);
            if (error == kCARingBufferError_CPUOverload) ++overloads;
            else if (error != kCARingBufferError_OK) stop = true;
            if (stop || (error == kCARingBufferError_OK && end >= read + n)) break;
            std::this_thread::yield();
            if (Clock::now() > deadline) stop = true;
        }
        if (stop) break;
        if (start > read) {
            ADD_FAILURE() << "the writer retired frame " << read << " before the reader fetched it";
            break;
        }
        for (UInt32 c = 0; c < kChannels; ++c) into.buffer(c).mDataByteSize = kMostFrames * SampleChannels::kBytesPerFrame;
        CARingBufferError error;
        while ((error = ring.Fetch(into.list(), n, read)) == kCARingBufferError_CPUOverload) ++overloads;
        if (error != kCARingBufferError_OK) {
            ADD_FAILURE() << "Fetch failed with " << error;
            break;
        }
        for (UInt32 c = 0; c < kChannels; ++c) {
            EXPECT_EQ(into.buffer(c).mDataByteSize, n * SampleChannels::kBytesPerFrame);
            const auto& samples = into.samples(c);
            for (UInt32 i = 0; i < n && !stop; ++i) {
                if (samples[i] != SampleChannels::Stamp(c, read + i)) {
                    ADD_FAILURE() << "channel " << c << " frame " << read + i << " holds " << std::hex << samples[i];
                    stop = true;
                }
            }
        }
        read += n;
        consumed.store(read, std::memory_order_release);
    }
    stop = true; // releases a writer still waiting for room
    writer.join();
    EXPECT_EQ(read, kTotalFrames) << "stalled or corrupt";
    RecordProperty("time_bounds_overloads", std::to_string(overloads));
}

TEST(RingConcurrency, TimeBoundsReadDuringRewritesAreNeverTorn) {
    constexpr SInt64 kPublishes = 400'000;
    CARingBuffer ring;
    ring.Allocate(1, 4, 16);
    std::atomic<bool> done{false};
    std::thread writer([&] {
        // Every published pair has end == 3 * start, so a pair mixed from two
        // snapshots shows.
        for (SInt64 k = 1; k <= kPublishes; ++k) ring.SetTimeBounds(k, 3 * k);
        done = true;
    });

    SInt64 lastStart = 0, reads = 0, overloads = 0, torn = 0, backwards = 0;
    const auto deadline = Clock::now() + kGiveUpAfter;
    while (!done && Clock::now() < deadline) {
        SInt64 start = -1, end = -1;
        const CARingBufferError error = ring.GetTimeBounds(start, end);
        if (error == kCARingBufferError_CPUOverload) {
            ++overloads;
            continue;
        }
        if (error != kCARingBufferError_OK) {
            ADD_FAILURE() << "GetTimeBounds failed with " << error;
            break;
        }
        ++reads;
        if (end != 3 * start) ++torn;
        if (start < lastStart) ++backwards;
        lastStart = start;
    }
    writer.join();
    EXPECT_EQ(torn, 0) << "of " << reads << " reads";
    EXPECT_EQ(backwards, 0) << "of " << reads << " reads";
    SInt64 start = 0, end = 0;
    EXPECT_EQ(ring.GetTimeBounds(start, end), kCARingBufferError_OK);
    EXPECT_EQ(start, kPublishes);
    EXPECT_EQ(end, 3 * kPublishes);
    RecordProperty("overloads", std::to_string(overloads));
}
