#pragma once
// Dispatch queues on systems without them: the part of the system's
// <dispatch/dispatch.h> the audio chain uses, serial queues only, each one a
// zQueue (its own named thread running work in submission order).
#include <cstddef>

#include <Block.h>

struct dispatch_queue_s;
typedef struct dispatch_queue_s* dispatch_queue_t;
// There are no attributes to make here: every queue is serial.
struct dispatch_queue_attr_s;
typedef struct dispatch_queue_attr_s* dispatch_queue_attr_t;
#define DISPATCH_QUEUE_SERIAL NULL
// Queues are the only dispatch objects here.
typedef dispatch_queue_t dispatch_object_t;
typedef qcp::coreaudio::Block<void()> dispatch_block_t;

// A queue is reference counted: its creator holds the first reference, each
// dispatch_retain adds one, each dispatch_release drops one, and the queue
// goes, after the work already submitted has run, when the last one is
// dropped (on any thread, its own included). Each function may be called from
// any thread, at the same time as any other; a null queue or block is
// ignored.
extern "C" {
// A serial queue whose thread is named `label` (which may be null).
// `attr` must be DISPATCH_QUEUE_SERIAL.
dispatch_queue_t dispatch_queue_create(const char* label, dispatch_queue_attr_t attr);
void dispatch_retain(dispatch_object_t object);
void dispatch_release(dispatch_object_t object);
// Runs `block` on the queue's thread after the work submitted before it,
// never on the caller's; the queue and the block are kept until it has run.
// The block may call any of these functions, on its own queue too.
void dispatch_async(dispatch_queue_t queue, dispatch_block_t block);
}
