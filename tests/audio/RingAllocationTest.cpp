// The rings run on real-time audio threads: once allocated, moving audio
// through them must not touch the heap.
#include <gtest/gtest.h>

#include <vector>

#include "AllocationCounter.h"
#include "CARingBuffer.h"
#include "SampleChannels.h"
#include "vnCircularBuffer.h"

TEST(RingAllocation, ByteRingWritesAndReadsWithoutAllocating) {
    vnCircularBuffer* ring = new vnCircularBuffer(4096);
    ring->SetAllowOverwriting(false);
    std::vector<uint8_t> block(2048, 0x5A), into(2048);
    int allocations = 0;
    {
        const AllocationCounter counter;
        for (int i = 0; i < 10; ++i) { // wraps, fills up (refusals) and runs dry (silence)
            ring->WriteData(block.data(), 1500);
            ring->WriteData(block.data(), 1500);
            ring->WriteData(block.data(), 1500);
            ring->ReadData(into.data(), 2048);
            ring->ReadData(into.data(), 2048);
            (void)ring->TotalNumberOfBytesAvailable();
        }
        allocations = counter.count();
    }
    EXPECT_EQ(allocations, 0);
    EXPECT_GT(ring->TotalNumberOfBytesRead(), 0);
    ring->Release();
}

TEST(RingAllocation, SampleRingStoresAndFetchesWithoutAllocating) {
    CARingBuffer ring;
    ring.Allocate(2, SampleChannels::kBytesPerFrame, 1024);
    SampleChannels block = SampleChannels::Stamped(2, 0, 512);
    SampleChannels into(2, 700);
    int allocations = 0;
    {
        const AllocationCounter counter;
        SInt64 t = 0;
        for (int i = 0; i < 10; ++i, t += 512) {
            ring.Store(block.list(), 512, t); // wraps and retires old frames
            ring.Fetch(into.list(), 700, t - 100); // straddles both ends
        }
        ring.Store(block.list(), 512, t + 300); // a gap
        ring.Store(block.list(), 512, 0);       // time going backwards
        SInt64 start, end;
        ring.GetTimeBounds(start, end);
        ring.Fetch(into.list(), 700, 5000); // outside
        allocations = counter.count();
    }
    EXPECT_EQ(allocations, 0);
}
