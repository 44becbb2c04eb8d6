#pragma once
#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>

#include "DisplayStream.h"
#include "zRefCount.h"

class zQueue;

namespace qcp::platform::x11 {

// Carries a display stream's deliveries from its capture thread to the
// handler on the stream's queue without allocating: each delivery fills one
// of a fixed set of records and is posted as a task small enough for
// std::function to hold in place.
//
// Reference counted, so that tasks still queued when the stream goes can run
// (and do nothing) safely: the stream holds one reference, each queued task
// another.
class FrameChannel final : public zRefCount {
public:
    // Retained for the caller.
    static FrameChannel* Create(zQueue& queue, FrameHandler handler);

    // Queues one handler call. False, with nothing queued, when every record
    // is still on its way (the queue has fallen far behind). One thread posts
    // at a time.
    bool Post(FrameStatus status, uint64_t displayTime, SurfaceRef surface, const DirtyRects& dirty = {});
    // No handler call starts after this returns, and none is running, unless
    // called from the handler itself, whose call is then the last.
    void Close();

private:
    struct Record {
        std::atomic<bool> busy{false};
        FrameStatus status = FrameStatus::Idle;
        uint64_t displayTime = 0;
        SurfaceRef surface;
        DirtyRects dirty;
    };

    FrameChannel(zQueue& queue, FrameHandler handler) : fQueue(queue), fHandler(std::move(handler)) {}
    void Deliver(Record& record);

    zQueue& fQueue;
    const FrameHandler fHandler;
    std::mutex fGate; // held while the handler runs
    std::atomic<bool> fOpen{true};
    // A stream keeps at most a pool's worth of frames on their way, an Idle
    // after each, and a Stopped.
    std::array<Record, 16> fRecords;
};

} // namespace qcp::platform::x11
