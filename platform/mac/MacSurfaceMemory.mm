#include "MacSurfaceMemory.h"

namespace qcp::platform::mac {
namespace {
void Set(CFMutableDictionaryRef dictionary, CFStringRef key, int64_t value) {
    CFNumberRef number = CFNumberCreate(nullptr, kCFNumberSInt64Type, &value);
    CFDictionarySetValue(dictionary, key, number);
    CFRelease(number);
}
} // namespace

std::unique_ptr<MacSurfaceMemory> MacSurfaceMemory::Create(const SurfaceProperties& properties) {
    CFMutableDictionaryRef wanted =
        CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    if (!wanted) return nullptr;
    Set(wanted, kIOSurfaceWidth, properties.width);
    Set(wanted, kIOSurfaceHeight, properties.height);
    Set(wanted, kIOSurfaceBytesPerRow, properties.bytesPerRow);
    Set(wanted, kIOSurfaceBytesPerElement, properties.bytesPerElement);
    Set(wanted, kIOSurfaceElementWidth, properties.elementWidth);
    Set(wanted, kIOSurfaceElementHeight, properties.elementHeight);
    Set(wanted, kIOSurfacePixelFormat, properties.pixelFormat);
    Set(wanted, kIOSurfaceAllocSize, int64_t(properties.allocSize));
    IOSurfaceRef surface = IOSurfaceCreate(wanted);
    CFRelease(wanted);
    if (!surface) return nullptr;
    auto memory = std::make_unique<MacSurfaceMemory>(surface, false);
    CFRelease(surface); // the memory holds its own reference
    return memory;
}

MacSurfaceMemory::MacSurfaceMemory(IOSurfaceRef surface, bool inUse) : fSurface(surface), fInUse(inUse) {
    CFRetain(surface);
    if (inUse) IOSurfaceIncrementUseCount(surface);
}

MacSurfaceMemory::~MacSurfaceMemory() {
    if (fInUse) IOSurfaceDecrementUseCount(fSurface);
    CFRelease(fSurface);
}

uint8_t* MacSurfaceMemory::data() { return static_cast<uint8_t*>(IOSurfaceGetBaseAddress(fSurface)); }

size_t MacSurfaceMemory::size() const { return IOSurfaceGetAllocSize(fSurface); }

std::optional<uint32_t> MacSurfaceMemory::systemID() const { return IOSurfaceGetID(fSurface); }

void MacSurfaceMemory::Lock() { IOSurfaceLock(fSurface, 0, nullptr); }

void MacSurfaceMemory::Unlock() { IOSurfaceUnlock(fSurface, 0, nullptr); }

SurfaceProperties MacSurfaceMemory::PropertiesOf(IOSurfaceRef surface) {
    SurfaceProperties properties;
    properties.width = uint32_t(IOSurfaceGetWidth(surface));
    properties.height = uint32_t(IOSurfaceGetHeight(surface));
    properties.bytesPerRow = uint32_t(IOSurfaceGetBytesPerRow(surface));
    properties.bytesPerElement = uint32_t(IOSurfaceGetBytesPerElement(surface));
    properties.elementWidth = uint32_t(IOSurfaceGetElementWidth(surface));
    properties.elementHeight = uint32_t(IOSurfaceGetElementHeight(surface));
    properties.pixelFormat = IOSurfaceGetPixelFormat(surface);
    properties.allocSize = IOSurfaceGetAllocSize(surface);
    return properties;
}

} // namespace qcp::platform::mac
