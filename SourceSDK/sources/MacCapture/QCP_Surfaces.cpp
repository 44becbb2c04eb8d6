// Frame surfaces for hosts without IOSurface: look-up by id and access to
// the pixels. A null surface is ignored (or answers 0 or null).
#include "QCP_API.h"
#include "Surface.h"

using qcp::platform::Surface;

namespace {
Surface* Of(QCP_Surface* surface) { return reinterpret_cast<Surface*>(surface); }
} // namespace

extern "C" {

QCP_Surface* QCP_SurfaceLookup(uint32_t surfaceId) {
    return reinterpret_cast<QCP_Surface*>(Surface::Lookup(surfaceId));
}

void QCP_SurfaceRetain(QCP_Surface* surface) {
    if (surface) Of(surface)->Retain();
}

void QCP_SurfaceRelease(QCP_Surface* surface) {
    if (surface) Of(surface)->Release();
}

void QCP_SurfaceLock(QCP_Surface* surface) {
    if (surface) Of(surface)->Lock();
}

void QCP_SurfaceUnlock(QCP_Surface* surface) {
    if (surface) Of(surface)->Unlock();
}

const void* QCP_SurfaceGetBaseAddress(QCP_Surface* surface) { return surface ? Of(surface)->baseAddress() : nullptr; }

uint32_t QCP_SurfaceGetWidth(QCP_Surface* surface) { return surface ? Of(surface)->width() : 0; }

uint32_t QCP_SurfaceGetHeight(QCP_Surface* surface) { return surface ? Of(surface)->height() : 0; }

uint32_t QCP_SurfaceGetBytesPerRow(QCP_Surface* surface) { return surface ? Of(surface)->bytesPerRow() : 0; }

uint32_t QCP_SurfaceGetPixelFormat(QCP_Surface* surface) {
    return surface ? Of(surface)->properties().pixelFormat : 0;
}

} // extern "C"
