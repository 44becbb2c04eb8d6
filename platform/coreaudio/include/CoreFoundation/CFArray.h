#pragma once
// Mutable arrays of CF objects. Only the CFType call-backs exist here: values
// are retained while held.
#include "CFBase.h"

typedef const struct __CFArray* CFArrayRef;
typedef struct __CFArray* CFMutableArrayRef;

struct CFArrayCallBacks {
    CFIndex version;
};

extern "C" {
extern const CFArrayCallBacks kCFTypeArrayCallBacks;
CFTypeID CFArrayGetTypeID(void);
CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef allocator, CFIndex capacity, const CFArrayCallBacks* callBacks);
void CFArrayAppendValue(CFMutableArrayRef theArray, const void* value);
CFIndex CFArrayGetCount(CFArrayRef theArray);
// The value at `idx`, not retained for the caller.
const void* CFArrayGetValueAtIndex(CFArrayRef theArray, CFIndex idx);
}
