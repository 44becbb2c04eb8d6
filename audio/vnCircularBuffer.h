#pragma once
#include <atomic>
#include <cstdint>
#include <memory>

#include "zRefCount.h"

// Smallest power of two at or above `v`, in 32 bits: 0 wraps to 0, as does
// anything above 2^31.
unsigned int RaiseToUpperPowerOfTwo(unsigned int v);

// A byte ring between one writer thread (WriteData) and one reader thread
// (ReadData), without a lock. Each side only moves its own running total; the
// other side reads it. Positions are the totals masked by the capacity, which
// is a power of two.
//
// With overwriting off a write that would leave the ring full is dropped
// whole, so at most capacity - 1 bytes are ever pending. With overwriting on
// the writer never waits for the reader: a reader that was lapped reads the
// newer bytes at its position (only safe when the two never run at once over
// the same bytes, so overwriting is for single-threaded use or a reader that
// keeps up).
//
// Allocate-free after construction: WriteData and ReadData only copy.
// Construction, Clear and destruction happen while neither side runs.
class vnCircularBuffer : public zRefCount {
public:
    vnCircularBuffer(); // 2 MiB
    explicit vnCircularBuffer(unsigned int bytes);

    void SetAllowOverwriting(bool allow) { fAllowOverwriting = allow; }
    bool AllowsOverwriting() const { return fAllowOverwriting; }

    // Writer thread. Silently dropped when overwriting is off and the ring
    // would be full afterwards; with overwriting on, of a write longer than the
    // ring only its last capacity bytes are kept.
    void WriteData(const void* data, unsigned int bytes);
    // Reader thread. All or nothing: when fewer than `bytes` are pending (or
    // `bytes` exceeds the capacity), `dest` is zero-filled and nothing is
    // consumed.
    void ReadData(void* dest, unsigned int bytes);
    // Zeroes the storage and both totals.
    void Clear();

    unsigned int BufferSizeInBytes() const { return fCapacity; }
    int64_t TotalNumberOfBytesRead() const { return fTotalRead.load(std::memory_order_acquire); }
    int64_t TotalNumberOfBytesWritten() const { return fTotalWritten.load(std::memory_order_acquire); }
    // Pending bytes from the two positions; equal positions with unequal
    // totals read as a full ring.
    unsigned int TotalNumberOfBytesAvailable() const;

protected:
    ~vnCircularBuffer() override = default; // through Release()

private:
    void CopyIn(int64_t total, const uint8_t* data, unsigned int bytes);
    void CopyOut(int64_t total, uint8_t* dest, unsigned int bytes) const;

    std::atomic<int64_t> fTotalRead{0};    // moved by the reader only
    std::atomic<int64_t> fTotalWritten{0}; // moved by the writer only
    std::unique_ptr<uint8_t[]> fStorage;   // null when the capacity is 0
    unsigned int fCapacity = 0;
    bool fAllowOverwriting = true;
};
