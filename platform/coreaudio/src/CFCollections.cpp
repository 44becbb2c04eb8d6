#include <cassert>

#include "CFObject.h"

__CFDictionary::~__CFDictionary() {
    for (const auto& [key, value] : fPairs) {
        CFRelease(key);
        CFRelease(value);
    }
}

__CFArray::~__CFArray() {
    for (const CFTypeRef value : fValues) CFRelease(value);
}

namespace {
const __CFBoolean gTrue(true);
const __CFBoolean gFalse(false);
} // namespace

extern "C" {

const CFBooleanRef kCFBooleanTrue = &gTrue;
const CFBooleanRef kCFBooleanFalse = &gFalse;
const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks = {0};
const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks = {0};
const CFArrayCallBacks kCFTypeArrayCallBacks = {0};

CFTypeID CFBooleanGetTypeID(void) { return kQcpCFBooleanTypeID; }
Boolean CFBooleanGetValue(CFBooleanRef boolean) { return boolean->fValue; }

CFTypeID CFDictionaryGetTypeID(void) { return kQcpCFDictionaryTypeID; }

CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef, CFIndex, const CFDictionaryKeyCallBacks*,
                                                 const CFDictionaryValueCallBacks*) {
    return new __CFDictionary;
}

void CFDictionarySetValue(CFMutableDictionaryRef theDict, const void* key, const void* value) {
    assert(key && value);
    CFRetain(value);
    for (auto& pair : theDict->fPairs) {
        if (CFEqual(pair.first, key)) {
            CFRelease(pair.second);
            pair.second = value;
            return;
        }
    }
    theDict->fPairs.emplace_back(CFRetain(key), value);
}

const void* CFDictionaryGetValue(CFDictionaryRef theDict, const void* key) {
    for (const auto& [held, value] : theDict->fPairs)
        if (CFEqual(held, key)) return value;
    return nullptr;
}

CFIndex CFDictionaryGetCount(CFDictionaryRef theDict) { return static_cast<CFIndex>(theDict->fPairs.size()); }

CFTypeID CFArrayGetTypeID(void) { return kQcpCFArrayTypeID; }

CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef, CFIndex, const CFArrayCallBacks*) { return new __CFArray; }

void CFArrayAppendValue(CFMutableArrayRef theArray, const void* value) {
    assert(value);
    theArray->fValues.push_back(CFRetain(value));
}

CFIndex CFArrayGetCount(CFArrayRef theArray) { return static_cast<CFIndex>(theArray->fValues.size()); }

const void* CFArrayGetValueAtIndex(CFArrayRef theArray, CFIndex idx) {
    assert(idx >= 0 && idx < CFArrayGetCount(theArray));
    return theArray->fValues[static_cast<size_t>(idx)];
}
}
