#include "FrameChannel.h"

#include "zQueue.h"

namespace qcp::platform::x11 {

FrameChannel* FrameChannel::Create(zQueue& queue, FrameHandler handler) {
    return new FrameChannel(queue, std::move(handler));
}

bool FrameChannel::Post(FrameStatus status, uint64_t displayTime, SurfaceRef surface, const DirtyRects& dirty) {
    for (Record& record : fRecords) {
        if (record.busy.load(std::memory_order_acquire)) continue;
        record.status = status;
        record.displayTime = displayTime;
        record.surface = std::move(surface);
        record.dirty = dirty;
        record.busy.store(true, std::memory_order_relaxed);
        Retain();
        fQueue.Async([this, &record] {
            Deliver(record);
            Release();
        });
        return true;
    }
    return false;
}

void FrameChannel::Deliver(Record& record) {
    {
        std::lock_guard lock(fGate);
        if (fOpen.load()) fHandler(record.status, record.displayTime, record.surface.get(), record.dirty);
    }
    record.surface.reset();
    record.busy.store(false, std::memory_order_release);
}

void FrameChannel::Close() {
    fOpen = false;
    // Wait for a call in progress, unless this is that call.
    if (!fQueue.IsCurrent()) std::lock_guard wait(fGate);
}

} // namespace qcp::platform::x11
