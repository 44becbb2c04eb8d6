#pragma once
#include <stdint.h>

typedef struct dispatch_queue_s* dispatch_queue_t;
typedef struct dispatch_queue_attr_s* dispatch_queue_attr_t;
typedef void* dispatch_object_t;
#define DISPATCH_QUEUE_SERIAL ((dispatch_queue_attr_t)0)
typedef uint64_t dispatch_time_t;
typedef void (^dispatch_block_t)(void);
#define DISPATCH_TIME_NOW (0ull)

#ifdef __cplusplus
extern "C" {
#endif
// A macro over the main queue object in the real header; a function here.
dispatch_queue_t dispatch_get_main_queue(void);
dispatch_queue_t dispatch_queue_create(const char* label, dispatch_queue_attr_t attr);
void dispatch_release(dispatch_object_t object);
void dispatch_async(dispatch_queue_t queue, dispatch_block_t block);
void dispatch_sync(dispatch_queue_t queue, dispatch_block_t block);
void dispatch_after(dispatch_time_t when, dispatch_queue_t queue, dispatch_block_t block);
dispatch_time_t dispatch_time(dispatch_time_t when, int64_t delta);
#ifdef __cplusplus
}
#endif
