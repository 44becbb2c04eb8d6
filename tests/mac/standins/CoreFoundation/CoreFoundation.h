#pragma once
#include <stddef.h>
#include <stdint.h>

typedef unsigned char Boolean;
typedef long CFIndex;
typedef const void* CFTypeRef;
typedef const struct __CFString* CFStringRef;
typedef const struct __CFDictionary* CFDictionaryRef;

#ifdef __cplusplus
extern "C" {
#endif
void CFRelease(CFTypeRef cf);
CFTypeRef CFRetain(CFTypeRef cf);
#ifdef __cplusplus
}
#endif
