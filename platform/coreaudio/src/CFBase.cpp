#include <cassert>

#include "CFObject.h"

extern "C" {
const CFAllocatorRef kCFAllocatorDefault = nullptr;
// Only ever compared, never dereferenced.
const CFAllocatorRef kCFAllocatorNull = reinterpret_cast<CFAllocatorRef>(&kCFAllocatorNull);

CFTypeRef CFRetain(CFTypeRef cf) {
    assert(cf);
    qcp::coreaudio::AsObject(cf)->fReferences.fetch_add(1, std::memory_order_relaxed);
    return cf;
}

void CFRelease(CFTypeRef cf) {
    assert(cf);
    const __CFObject* object = qcp::coreaudio::AsObject(cf);
    if (object->fImmortal) return;
    if (object->fReferences.fetch_sub(1, std::memory_order_acq_rel) == 1) delete object;
}

CFIndex CFGetRetainCount(CFTypeRef cf) { return qcp::coreaudio::AsObject(cf)->fReferences.load(); }

CFTypeID CFGetTypeID(CFTypeRef cf) { return qcp::coreaudio::AsObject(cf)->fType; }

Boolean CFEqual(CFTypeRef cf1, CFTypeRef cf2) {
    if (cf1 == cf2) return true;
    if (!cf1 || !cf2 || CFGetTypeID(cf1) != CFGetTypeID(cf2)) return false;
    // Strings compare by text; every other type here by identity.
    return CFGetTypeID(cf1) == kQcpCFStringTypeID &&
           qcp::coreaudio::StringValue(cf1) == qcp::coreaudio::StringValue(cf2);
}
}
