#pragma once
#include <atomic>
#include <cstdint>

// Intrusive reference count. Objects start with one reference held by their
// creator and delete themselves when the last Release() drops it.
class zRefCount {
public:
    void Retain() const { fCount.fetch_add(1, std::memory_order_relaxed); }
    void Release() const {
        if (fCount.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
    }
    int32_t RetainCount() const { return fCount.load(std::memory_order_relaxed); }

protected:
    zRefCount() = default;
    virtual ~zRefCount() = default;
    zRefCount(const zRefCount&) = delete;
    zRefCount& operator=(const zRefCount&) = delete;

private:
    mutable std::atomic<int32_t> fCount{1};
};
