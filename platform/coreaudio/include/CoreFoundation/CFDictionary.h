#pragma once
// Mutable dictionaries of CF objects. Only the CFType call-backs exist here:
// keys and values are retained while held and compared with CFEqual.
#include "CFBase.h"

typedef const struct __CFDictionary* CFDictionaryRef;
typedef struct __CFDictionary* CFMutableDictionaryRef;

struct CFDictionaryKeyCallBacks {
    CFIndex version;
};
struct CFDictionaryValueCallBacks {
    CFIndex version;
};

extern "C" {
extern const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks;
extern const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks;
CFTypeID CFDictionaryGetTypeID(void);
CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                                 const CFDictionaryKeyCallBacks* keyCallBacks,
                                                 const CFDictionaryValueCallBacks* valueCallBacks);
void CFDictionarySetValue(CFMutableDictionaryRef theDict, const void* key, const void* value);
// The value held for `key`, not retained for the caller; null when absent.
const void* CFDictionaryGetValue(CFDictionaryRef theDict, const void* key);
CFIndex CFDictionaryGetCount(CFDictionaryRef theDict);
}
