#include "vnCircularBuffer.h"

#include <cstring>
#include <new>

unsigned int RaiseToUpperPowerOfTwo(unsigned int v) {
    uint32_t x = v - 1;
    x |= x >> 1;
    x |= x >> 2;
    x |= x >> 4;
    x |= x >> 8;
    x |= x >> 16;
    return x + 1;
}

vnCircularBuffer::vnCircularBuffer() : vnCircularBuffer(2 * 1024 * 1024) {}

vnCircularBuffer::vnCircularBuffer(unsigned int bytes) : fCapacity(RaiseToUpperPowerOfTwo(bytes)) {
    if (fCapacity == 0) return;
    // Without storage the ring ignores reads and writes rather than failing.
    fStorage.reset(new (std::nothrow) uint8_t[fCapacity]());
    if (!fStorage) fCapacity = 0;
}

void vnCircularBuffer::WriteData(const void* data, unsigned int bytes) {
    if (!data || bytes == 0 || !fStorage) return;
    const int64_t written = fTotalWritten.load(std::memory_order_relaxed);
    auto* from = static_cast<const uint8_t*>(data);
    if (!fAllowOverwriting) {
        // Acquire: the reader has finished with the bytes it gave back.
        const int64_t read = fTotalRead.load(std::memory_order_acquire);
        if (written + int64_t(bytes) - read >= int64_t(fCapacity)) return;
        CopyIn(written, from, bytes);
    } else if (bytes > fCapacity) {
        // Only the newest capacity bytes would survive anyway.
        const unsigned int skipped = bytes - fCapacity;
        CopyIn(written + skipped, from + skipped, fCapacity);
    } else {
        CopyIn(written, from, bytes);
    }
    fTotalWritten.store(written + bytes, std::memory_order_release);
}

void vnCircularBuffer::ReadData(void* dest, unsigned int bytes) {
    if (!dest || bytes == 0 || !fStorage) return;
    const int64_t read = fTotalRead.load(std::memory_order_relaxed);
    // Acquire: the bytes the writer counted are in the storage. A read longer
    // than the ring (possible only once overwriting let the writer lap the
    // reader) would run past the storage, so it counts as not available.
    if (read + int64_t(bytes) > fTotalWritten.load(std::memory_order_acquire) || bytes > fCapacity) {
        std::memset(dest, 0, bytes);
        return;
    }
    CopyOut(read, static_cast<uint8_t*>(dest), bytes);
    fTotalRead.store(read + bytes, std::memory_order_release);
}

void vnCircularBuffer::Clear() {
    if (!fStorage) return;
    std::memset(fStorage.get(), 0, fCapacity);
    fTotalRead.store(0, std::memory_order_relaxed);
    fTotalWritten.store(0, std::memory_order_relaxed);
}

unsigned int vnCircularBuffer::TotalNumberOfBytesAvailable() const {
    const int64_t read = fTotalRead.load(std::memory_order_acquire);
    const int64_t written = fTotalWritten.load(std::memory_order_acquire);
    if (read == written) return 0;
    const uint32_t mask = fCapacity - 1;
    const uint32_t w = uint32_t(written) & mask, r = uint32_t(read) & mask;
    return (w > r ? 0 : fCapacity) + (w - r);
}

void vnCircularBuffer::CopyIn(int64_t total, const uint8_t* data, unsigned int bytes) {
    const uint32_t pos = uint32_t(total) & (fCapacity - 1);
    const uint32_t room = fCapacity - pos;
    if (room < bytes) {
        std::memcpy(fStorage.get() + pos, data, room);
        std::memcpy(fStorage.get(), data + room, bytes - room);
    } else {
        std::memcpy(fStorage.get() + pos, data, bytes);
    }
}

void vnCircularBuffer::CopyOut(int64_t total, uint8_t* dest, unsigned int bytes) const {
    const uint32_t pos = uint32_t(total) & (fCapacity - 1);
    const uint32_t room = fCapacity - pos;
    if (room < bytes) {
        std::memcpy(dest, fStorage.get() + pos, room);
        std::memcpy(dest + room, fStorage.get(), bytes - room);
    } else {
        std::memcpy(dest, fStorage.get() + pos, bytes);
    }
}
