#pragma once
#include <atomic>

#include <CoreAudio/CoreAudioTypes.h>

typedef UInt32 CARingBufferError;
enum : UInt32 {
    kCARingBufferError_OK = 0,
    kCARingBufferError_TooMuch = 3,     // more frames offered to Store than the capacity
    kCARingBufferError_CPUOverload = 4, // no consistent snapshot of the time bounds
};

// A de-interleaved, multi-channel audio ring addressed by sample time: every
// frame has an absolute position (a signed 64-bit frame number), and the
// frame at time t lives at (t & mask) in every channel. One writer thread
// (Store, SetTimeBounds) and one reader thread (Fetch, GetTimeBounds,
// ClipTimeBounds) run without a lock; Allocate and Deallocate run while
// neither does.
//
// The valid range [start, end) is published through a queue of 32 snapshots
// and a counter of published snapshots: a reader copies the current snapshot
// and checks its update counter, retrying a few times rather than blocking.
// The reader publishes in turn how far it has fetched, which the writer reads
// before it stores: frames are overwritten only after the reads of them that
// came before, in the memory model as in time. Store and Fetch copy only;
// nothing allocates after Allocate.
class CARingBuffer {
public:
    CARingBuffer() = default;
    ~CARingBuffer();
    CARingBuffer(const CARingBuffer&) = delete;
    CARingBuffer& operator=(const CARingBuffer&) = delete;

    // Capacity rounds up to a power of two (0 and 1 give one frame). All
    // channels share one zeroed block; the time bounds start empty at 0.
    void Allocate(int nChannels, UInt32 bytesPerFrame, UInt32 capacityFrames);
    void Deallocate();

    // Writer. Stores `abl`'s buffers (one per channel, in channel order) at
    // [startWrite, startWrite + framesToWrite). Time going backwards discards
    // everything held; a gap after the held data is zero-filled; the start
    // moves past frames about to be overwritten.
    CARingBufferError Store(const AudioBufferList* abl, UInt32 framesToWrite, SInt64 startWrite);
    // Reader. Fills `abl` with [startRead, startRead + nFrames), zeroing the
    // frames outside the valid range; each buffer's byte size becomes the
    // bytes copied from the ring (the zeroed margins excluded) unless nothing
    // was, in which case the sizes are left alone.
    CARingBufferError Fetch(AudioBufferList* abl, UInt32 nFrames, SInt64 startRead);

    CARingBufferError GetTimeBounds(SInt64& startTime, SInt64& endTime);
    // Writer only.
    void SetTimeBounds(SInt64 startTime, SInt64 endTime);
    // Narrows [startRead, endRead) to the valid range; a request wholly
    // outside it becomes empty at startRead.
    CARingBufferError ClipTimeBounds(SInt64& startRead, SInt64& endRead);

private:
    static constexpr UInt32 kTimeBoundsQueueSize = 32;
    static constexpr UInt32 kTimeBoundsQueueMask = kTimeBoundsQueueSize - 1;
    static constexpr int kGetTimeBoundsAttempts = 8;

    // One snapshot. Atomic fields because a reader may copy an entry while
    // the writer reuses it; the update counter tells it so.
    struct TimeBounds {
        std::atomic<SInt64> startTime{0};
        std::atomic<SInt64> endTime{0};
        std::atomic<UInt32> updateCounter{0};
    };

    UInt32 FrameOffset(SInt64 frameNumber) const { return UInt32(frameNumber & fCapacityFramesMask) * fBytesPerFrame; }
    // The writer's own view of the current snapshot.
    const TimeBounds& CurrentBounds() const {
        return fTimeBoundsQueue[fTimeBoundsQueuePtr.load(std::memory_order_relaxed) & kTimeBoundsQueueMask];
    }
    void ResetTimeBounds();
    void ZeroChannels(UInt32 offset, UInt32 bytes);

    unsigned char** fBuffers = nullptr; // channel pointers, then the channels, in one block
    int fNumberChannels = 0;
    UInt32 fBytesPerFrame = 0;
    UInt32 fCapacityFrames = 0;
    UInt32 fCapacityFramesMask = 0;
    UInt32 fCapacityBytes = 0;
    TimeBounds fTimeBoundsQueue[kTimeBoundsQueueSize];
    std::atomic<UInt32> fTimeBoundsQueuePtr{0};
    // The end of the reader's latest fetch (reader: release; writer: acquire).
    std::atomic<SInt64> fFetchedEnd{0};
};
