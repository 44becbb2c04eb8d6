#pragma once
// Immutable strings. The text is kept as UTF-8, so CFStringGetCStringPtr
// always answers for the UTF-8 encoding (Apple's may answer null; callers
// must be ready for that there, and are).
#include "CFBase.h"

typedef UInt32 CFStringEncoding;
enum : CFStringEncoding {
    kCFStringEncodingASCII = 0x0600,
    kCFStringEncodingUTF8 = 0x08000100,
};

typedef CFOptionFlags CFStringCompareFlags;
enum : CFStringCompareFlags {
    kCFCompareCaseInsensitive = 1,
    kCFCompareNumerically = 64,
};

extern "C" {
CFTypeID CFStringGetTypeID(void);
// Null when `cStr` is null or not valid in `encoding`.
CFStringRef CFStringCreateWithCString(CFAllocatorRef alloc, const char* cStr, CFStringEncoding encoding);
// Here always a copy: the caller's bytes may go away at once.
CFStringRef CFStringCreateWithCStringNoCopy(CFAllocatorRef alloc, const char* cStr, CFStringEncoding encoding,
                                            CFAllocatorRef contentsDeallocator);
// The string's own bytes, valid while the string lives; null for other
// encodings than UTF-8 (and ASCII when the text is ASCII).
const char* CFStringGetCStringPtr(CFStringRef theString, CFStringEncoding encoding);
// Copies the text with its terminating zero; false when it does not fit.
Boolean CFStringGetCString(CFStringRef theString, char* buffer, CFIndex bufferSize, CFStringEncoding encoding);
// The length in UTF-16 code units, as CoreFoundation counts.
CFIndex CFStringGetLength(CFStringRef theString);
CFComparisonResult CFStringCompare(CFStringRef theString1, CFStringRef theString2,
                                   CFStringCompareFlags compareOptions);
}
