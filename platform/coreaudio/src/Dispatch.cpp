#include <dispatch/dispatch.h>

#include <memory>

#include "zQueue.h"
#include "zRefCount.h"

namespace {
// Destroys queues whose last reference went on their own thread, which
// cannot wait for itself to finish.
zQueue& Disposal() {
    static zQueue disposal("com.qcp.dispatch.disposal");
    return disposal;
}
} // namespace

struct dispatch_queue_s final : zRefCount {
    explicit dispatch_queue_s(const char* label) : queue(std::make_unique<zQueue>(label ? label : "")) {}
    ~dispatch_queue_s() override {
        if (queue->IsCurrent())
            Disposal().Async([owned = std::shared_ptr<zQueue>(std::move(queue))]() mutable { owned.reset(); });
    }

    std::unique_ptr<zQueue> queue;
};

extern "C" {

dispatch_queue_t dispatch_queue_create(const char* label, dispatch_queue_attr_t) { return new dispatch_queue_s(label); }

void dispatch_retain(dispatch_object_t object) {
    if (object) object->Retain();
}

void dispatch_release(dispatch_object_t object) {
    if (object) object->Release();
}

void dispatch_async(dispatch_queue_t queue, dispatch_block_t block) {
    if (!queue || !block) return;
    queue->Retain();
    queue->queue->Async([queue, block]() mutable {
        block();
        // Let go of both here, not where the queue discards the finished
        // item under its lock: the block's captures may do anything as they
        // go, and the queue itself may go with its last reference.
        block = nullptr;
        queue->Release();
    });
}
}
