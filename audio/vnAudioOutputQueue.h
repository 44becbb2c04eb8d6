#pragma once
#include <CoreAudio/CoreAudioTypes.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>

// The blocks of audio waiting for the speaker output: a byte FIFO in storage
// allocated once by the constructor, guarded by one mutex.
//
// Made by vnAudioOutput, which owns it. One producer (the recorder's
// real-time input thread) calls Offer; the output unit's render thread calls
// Take; both hold the mutex only while they copy, and neither allocates. A
// block is queued whole or not at all: when it does not fit, it is dropped
// and counted, so a stalled output never holds up the producer. The owner of
// the output empties the queue with ClearAvailable once the unit no longer
// renders, holding Mutex() for it. Never calls back.
class vnAudioOutputQueue {
public:
    explicit vnAudioOutputQueue(UInt32 capacityBytes)
        : fStorage(std::make_unique<uint8_t[]>(capacityBytes)), fCapacity(capacityBytes) {}
    vnAudioOutputQueue(const vnAudioOutputQueue&) = delete;
    vnAudioOutputQueue& operator=(const vnAudioOutputQueue&) = delete;

    // Guards the queued bytes; held by Offer and Take for their copy, and by
    // the caller of ClearAvailable.
    std::mutex& Mutex() { return fMutex; }

    // Producer. Queues a copy of the block; false when it is null or empty
    // (nothing happens), or does not fit (dropped and counted).
    bool Offer(const void* data, UInt32 bytes) {
        if (!data || bytes == 0) return false;
        std::lock_guard lock(fMutex);
        if (bytes > fCapacity - fCount) {
            fDropped.fetch_add(1, std::memory_order_relaxed);
            return false;
        }
        const UInt32 tail = (fHead + fCount) % fCapacity;
        const UInt32 first = std::min(bytes, fCapacity - tail);
        std::memcpy(fStorage.get() + tail, data, first);
        std::memcpy(fStorage.get(), static_cast<const uint8_t*>(data) + first, bytes - first);
        fCount += bytes;
        return true;
    }

    // Render thread. Moves up to `bytes` of the oldest queued bytes into
    // `dest` and zero-fills the rest (silence for what is missing); answers
    // how many were queued bytes.
    UInt32 Take(void* dest, UInt32 bytes) {
        if (!dest) return 0;
        auto* out = static_cast<uint8_t*>(dest);
        UInt32 taken = 0;
        {
            std::lock_guard lock(fMutex);
            taken = std::min(bytes, fCount);
            const UInt32 first = std::min(taken, fCapacity - fHead);
            std::memcpy(out, fStorage.get() + fHead, first);
            std::memcpy(out + first, fStorage.get(), taken - first);
            fHead = fCount == taken ? 0 : (fHead + taken) % fCapacity;
            fCount -= taken;
        }
        std::memset(out + taken, 0, bytes - taken);
        return taken;
    }

    // Forgets every queued byte and zeroes the storage, so nothing captured
    // lingers. The caller holds Mutex().
    void ClearAvailable() {
        std::memset(fStorage.get(), 0, fCapacity);
        fHead = 0;
        fCount = 0;
    }

    // Bytes queued now.
    UInt32 Available() {
        std::lock_guard lock(fMutex);
        return fCount;
    }
    UInt32 Capacity() const { return fCapacity; }
    // Blocks dropped because they did not fit, since construction.
    uint64_t Dropped() const { return fDropped.load(std::memory_order_relaxed); }

private:
    std::mutex fMutex;
    const std::unique_ptr<uint8_t[]> fStorage;
    const UInt32 fCapacity;
    UInt32 fHead = 0;  // oldest queued byte
    UInt32 fCount = 0; // bytes queued
    std::atomic<uint64_t> fDropped{0};
};
