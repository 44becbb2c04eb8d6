#include "CARingBuffer.h"

#include <algorithm>
#include <cassert>
#include <cstdlib>
#include <cstring>

// Both directions copy between the ring's channels and an AudioBufferList by
// one rule: buffer by buffer, in order, a buffer whose byte size is below the
// offset into it is skipped, and so are all the buffers after it (the cursor
// over the ring's channels and the one over the buffers stay where they
// were); otherwise at most the bytes that fit in the buffer move. That a short
// buffer also shuts out the buffers after it is the ring's established
// behaviour and is kept.
namespace {

using Bytes = unsigned char;

void StoreABL(Bytes** channels, UInt32 channelOffset, const AudioBufferList* abl, UInt32 srcOffset, UInt32 nbytes) {
    const AudioBuffer* src = abl->mBuffers;
    for (UInt32 n = abl->mNumberBuffers; n > 0; --n, ++src, ++channels) {
        if (srcOffset > src->mDataByteSize) break;
        std::memcpy(*channels + channelOffset, static_cast<const Bytes*>(src->mData) + srcOffset,
                    std::min(nbytes, src->mDataByteSize - srcOffset));
    }
}

void FetchABL(AudioBufferList* abl, UInt32 destOffset, Bytes* const* channels, UInt32 channelOffset, UInt32 nbytes) {
    AudioBuffer* dest = abl->mBuffers;
    for (UInt32 n = abl->mNumberBuffers; n > 0; --n, ++dest, ++channels) {
        if (destOffset > dest->mDataByteSize) break;
        std::memcpy(static_cast<Bytes*>(dest->mData) + destOffset, *channels + channelOffset,
                    std::min(nbytes, dest->mDataByteSize - destOffset));
    }
}

void ZeroABL(AudioBufferList* abl, UInt32 destOffset, UInt32 nbytes) {
    AudioBuffer* dest = abl->mBuffers;
    for (UInt32 n = abl->mNumberBuffers; n > 0; --n, ++dest) {
        if (destOffset > dest->mDataByteSize) break;
        std::memset(static_cast<Bytes*>(dest->mData) + destOffset, 0, std::min(nbytes, dest->mDataByteSize - destOffset));
    }
}

} // namespace

CARingBuffer::~CARingBuffer() { Deallocate(); }

void CARingBuffer::Allocate(int nChannels, UInt32 bytesPerFrame, UInt32 capacityFrames) {
    Deallocate();
    UInt32 frames = 1;
    while (frames < capacityFrames && frames < 0x80000000u) frames <<= 1;

    // One block: the channel pointers, then each channel's area.
    const size_t channels = size_t(std::max(nChannels, 0));
    const size_t channelBytes = size_t(bytesPerFrame) * frames;
    void* block = std::calloc(channels, channelBytes + sizeof(Bytes*));
    if (!block) return; // left deallocated: Store refuses everything, Fetch reads silence
    fBuffers = static_cast<Bytes**>(block);
    Bytes* area = static_cast<Bytes*>(block) + channels * sizeof(Bytes*);
    for (size_t i = 0; i < channels; ++i) fBuffers[i] = area + i * channelBytes;

    fNumberChannels = nChannels;
    fBytesPerFrame = bytesPerFrame;
    fCapacityFrames = frames;
    fCapacityFramesMask = frames - 1;
    fCapacityBytes = UInt32(channelBytes);
    ResetTimeBounds();
}

void CARingBuffer::Deallocate() {
    std::free(fBuffers);
    fBuffers = nullptr;
    fNumberChannels = 0;
    fCapacityFrames = 0;
    fCapacityBytes = 0;
    // An empty range, so that a Fetch after this reads silence, not freed memory.
    ResetTimeBounds();
}

void CARingBuffer::ResetTimeBounds() {
    for (TimeBounds& bounds : fTimeBoundsQueue) {
        bounds.startTime.store(0, std::memory_order_relaxed);
        bounds.endTime.store(0, std::memory_order_relaxed);
        bounds.updateCounter.store(0, std::memory_order_relaxed);
    }
    fTimeBoundsQueuePtr.store(0);
}

void CARingBuffer::ZeroChannels(UInt32 offset, UInt32 bytes) {
    for (int i = 0; i < fNumberChannels; ++i) std::memset(fBuffers[i] + offset, 0, bytes);
}

CARingBufferError CARingBuffer::Store(const AudioBufferList* abl, UInt32 framesToWrite, SInt64 startWrite) {
    if (framesToWrite == 0) return kCARingBufferError_OK;
    if (framesToWrite > fCapacityFrames) return kCARingBufferError_TooMuch;
    assert(abl->mNumberBuffers <= UInt32(fNumberChannels));

    const SInt64 endWrite = startWrite + framesToWrite;
    // Orders the writes below after the reader's copies of the frames it is
    // done with; the value itself is not needed (the writer never waits).
    (void)fFetchedEnd.load(std::memory_order_acquire);
    const SInt64 startTime = CurrentBounds().startTime.load(std::memory_order_relaxed);
    const SInt64 endTime = CurrentBounds().endTime.load(std::memory_order_relaxed);
    if (startWrite < endTime) {
        // Time went backwards: nothing held is continuous with this any more.
        SetTimeBounds(startWrite, startWrite);
    } else if (endWrite - startTime > SInt64(fCapacityFrames)) {
        // Retire the frames about to be overwritten before touching them: a
        // reader that looks from now on no longer counts them as valid.
        const SInt64 newStart = endWrite - fCapacityFrames;
        SetTimeBounds(newStart, std::max(newStart, endTime));
    }

    const SInt64 curEnd = CurrentBounds().endTime.load(std::memory_order_relaxed);
    const UInt32 begin = FrameOffset(startWrite);
    if (startWrite > curEnd) {
        // A gap: the frames between the held data and this write are silence.
        const UInt32 gapStart = FrameOffset(curEnd);
        if (gapStart < begin) {
            ZeroChannels(gapStart, begin - gapStart);
        } else {
            ZeroChannels(gapStart, fCapacityBytes - gapStart);
            ZeroChannels(0, begin);
        }
    }

    const UInt32 end = FrameOffset(endWrite);
    if (begin < end) {
        StoreABL(fBuffers, begin, abl, 0, end - begin);
    } else {
        const UInt32 first = fCapacityBytes - begin;
        StoreABL(fBuffers, begin, abl, 0, first);
        StoreABL(fBuffers, 0, abl, first, end);
    }

    SetTimeBounds(CurrentBounds().startTime.load(std::memory_order_relaxed), endWrite);
    return kCARingBufferError_OK;
}

CARingBufferError CARingBuffer::Fetch(AudioBufferList* abl, UInt32 nFrames, SInt64 startRead) {
    if (nFrames == 0) return kCARingBufferError_OK;
    startRead = std::max<SInt64>(startRead, 0);
    const SInt64 endRead = startRead + nFrames;

    SInt64 start = startRead, end = endRead;
    if (CARingBufferError error = ClipTimeBounds(start, end)) return error;
    const UInt32 requestedBytes = nFrames * fBytesPerFrame;
    if (start == end) {
        ZeroABL(abl, 0, requestedBytes);
        return kCARingBufferError_OK;
    }
    assert(abl->mNumberBuffers <= UInt32(fNumberChannels));

    // Silence for the frames requested before and after the valid range.
    const UInt32 destOffset = UInt32(std::max<SInt64>((start - startRead) * fBytesPerFrame, 0));
    if (destOffset > 0) ZeroABL(abl, 0, std::min(requestedBytes, destOffset));
    const SInt64 framesPastEnd = endRead - end;
    if (framesPastEnd >= 1)
        ZeroABL(abl, destOffset + UInt32(end - start) * fBytesPerFrame, UInt32(framesPastEnd) * fBytesPerFrame);

    const UInt32 offset0 = FrameOffset(start), offset1 = FrameOffset(end);
    UInt32 nbytes;
    if (offset0 < offset1) {
        nbytes = offset1 - offset0;
        FetchABL(abl, destOffset, fBuffers, offset0, nbytes);
    } else {
        const UInt32 first = fCapacityBytes - offset0;
        FetchABL(abl, destOffset, fBuffers, offset0, first);
        FetchABL(abl, destOffset + first, fBuffers, 0, offset1);
        nbytes = first + offset1;
    }

    fFetchedEnd.store(end, std::memory_order_release);

    AudioBuffer* dest = abl->mBuffers;
    for (UInt32 n = abl->mNumberBuffers; n > 0; --n, ++dest) dest->mDataByteSize = nbytes;
    return kCARingBufferError_OK;
}

void CARingBuffer::SetTimeBounds(SInt64 startTime, SInt64 endTime) {
    const UInt32 current = fTimeBoundsQueuePtr.load(std::memory_order_relaxed);
    const UInt32 next = current + 1;
    TimeBounds& bounds = fTimeBoundsQueue[next & kTimeBoundsQueueMask];
    // The counter changes before the times do (the release stores keep it
    // first): a reader that sees either new time also sees the new counter
    // and discards its copy.
    bounds.updateCounter.store(next, std::memory_order_relaxed);
    bounds.startTime.store(startTime, std::memory_order_release);
    bounds.endTime.store(endTime, std::memory_order_release);
    UInt32 expected = current;
    fTimeBoundsQueuePtr.compare_exchange_strong(expected, next); // one writer: never fails
}

CARingBufferError CARingBuffer::GetTimeBounds(SInt64& startTime, SInt64& endTime) {
    for (int attempt = 0; attempt < kGetTimeBoundsAttempts; ++attempt) {
        const UInt32 current = fTimeBoundsQueuePtr.load(std::memory_order_acquire);
        const TimeBounds& bounds = fTimeBoundsQueue[current & kTimeBoundsQueueMask];
        startTime = bounds.startTime.load(std::memory_order_acquire);
        endTime = bounds.endTime.load(std::memory_order_acquire);
        if (bounds.updateCounter.load(std::memory_order_relaxed) == current) return kCARingBufferError_OK;
    }
    return kCARingBufferError_CPUOverload;
}

CARingBufferError CARingBuffer::ClipTimeBounds(SInt64& startRead, SInt64& endRead) {
    SInt64 startTime, endTime;
    if (CARingBufferError error = GetTimeBounds(startTime, endTime)) return error;
    if (startRead > endTime || endRead < startTime) {
        endRead = startRead;
        return kCARingBufferError_OK;
    }
    startRead = std::max(startRead, startTime);
    endRead = std::min(endRead, endTime);
    endRead = std::max(endRead, startRead);
    return kCARingBufferError_OK;
}
