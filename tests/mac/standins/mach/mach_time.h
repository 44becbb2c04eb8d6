#pragma once
#include <stdint.h>

struct mach_timebase_info {
    uint32_t numer;
    uint32_t denom;
};
typedef struct mach_timebase_info mach_timebase_info_data_t;
typedef struct mach_timebase_info* mach_timebase_info_t;
typedef int kern_return_t;

#ifdef __cplusplus
extern "C" {
#endif
uint64_t mach_absolute_time(void);
kern_return_t mach_timebase_info(mach_timebase_info_t info);
#ifdef __cplusplus
}
#endif
