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
    // Retains unless the last reference is already gone (the object is being
    // destroyed): for look-ups in registries that do not own their objects.
    bool TryRetain() const {
        int32_t count = fCount.load(std::memory_order_relaxed);
        while (count > 0)
            if (fCount.compare_exchange_weak(count, count + 1, std::memory_order_acq_rel)) return true;
        return false;
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
