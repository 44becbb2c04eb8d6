// The rings run on real-time audio threads: once allocated, moving audio
// through them must not touch the heap. This program replaces the global
// allocator to count.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <vector>

#include "CARingBuffer.h"
#include "SampleChannels.h"
#include "vnCircularBuffer.h"

namespace {
thread_local bool tCounting = false;
std::atomic<int> gAllocations{0};

class CountAllocations {
public:
    CountAllocations() { tCounting = true; }
    ~CountAllocations() { tCounting = false; }
};
} // namespace

// GCC takes the free() below for a mismatch once it inlines these into a
// delete expression; they are a matched pair.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpragmas"
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void* operator new(size_t size) {
    if (tCounting) ++gAllocations;
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }
#pragma GCC diagnostic pop

TEST(RingAllocation, ByteRingWritesAndReadsWithoutAllocating) {
    vnCircularBuffer* ring = new vnCircularBuffer(4096);
    ring->SetAllowOverwriting(false);
    std::vector<uint8_t> block(2048, 0x5A), into(2048);
    gAllocations = 0;
    {
        CountAllocations counting;
        for (int i = 0; i < 10; ++i) { // wraps, fills up (refusals) and runs dry (silence)
            ring->WriteData(block.data(), 1500);
            ring->WriteData(block.data(), 1500);
            ring->WriteData(block.data(), 1500);
            ring->ReadData(into.data(), 2048);
            ring->ReadData(into.data(), 2048);
            (void)ring->TotalNumberOfBytesAvailable();
        }
    }
    EXPECT_EQ(gAllocations.load(), 0);
    EXPECT_GT(ring->TotalNumberOfBytesRead(), 0);
    ring->Release();
}

TEST(RingAllocation, SampleRingStoresAndFetchesWithoutAllocating) {
    CARingBuffer ring;
    ring.Allocate(2, SampleChannels::kBytesPerFrame, 1024);
    SampleChannels block = SampleChannels::Stamped(2, 0, 512);
    SampleChannels into(2, 700);
    gAllocations = 0;
    {
        CountAllocations counting;
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
    }
    EXPECT_EQ(gAllocations.load(), 0);
}
