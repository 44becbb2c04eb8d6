#pragma once
// CoreFoundation's base: reference-counted objects behind opaque pointers.
// Objects start with one reference owned by whoever created or copied them
// ("Create" and "Copy" calls, and the HAL's CFType property values);
// CFRelease frees an object with its last reference. Retaining and releasing
// may happen on any thread; an object's contents never change after creation
// except through the Mutable calls, which are not thread-safe.
#include "../CoreAudio/CoreAudioTypes.h"

typedef const void* CFTypeRef;
typedef signed long CFIndex;
typedef unsigned long CFTypeID;
typedef unsigned long CFOptionFlags;
typedef const struct __CFAllocator* CFAllocatorRef;
typedef const struct __CFString* CFStringRef;
typedef struct __CFString* CFMutableStringRef;

typedef CFIndex CFComparisonResult;
enum : CFIndex {
    kCFCompareLessThan = -1,
    kCFCompareEqualTo = 0,
    kCFCompareGreaterThan = 1,
};

// Only the default allocator exists here; kCFAllocatorNull, passed as the
// deallocator of a no-copy string, says the bytes are not the string's to free.
extern "C" const CFAllocatorRef kCFAllocatorDefault;
extern "C" const CFAllocatorRef kCFAllocatorNull;

extern "C" {
CFTypeRef CFRetain(CFTypeRef cf);
void CFRelease(CFTypeRef cf);
CFIndex CFGetRetainCount(CFTypeRef cf);
CFTypeID CFGetTypeID(CFTypeRef cf);
Boolean CFEqual(CFTypeRef cf1, CFTypeRef cf2);
}
