#include "MacDisplayStream.h"

#include <dlfcn.h>
#include <mach/mach_time.h>

#include "MacSurfaceMemory.h"
#include "zQueue.h"
#include "zTime.h"

namespace qcp::platform::mac {
namespace {
// CGDisplayStream's calls, statuses and keys as CoreGraphics exports them
// (the SDK that dropped them no longer declares them).
using StreamRef = CFTypeRef;
using UpdateRef = CFTypeRef;
using FrameAvailable = void (^)(int32_t status, uint64_t displayTime, IOSurfaceRef frame, UpdateRef update);
enum : int32_t { kFrameComplete = 0, kFrameIdle = 1, kFrameBlank = 2, kStopped = 3 };
constexpr int32_t kUpdateDirtyRects = 2;

struct StreamCalls {
    StreamRef (*create)(CGDirectDisplayID, size_t, size_t, int32_t, CFDictionaryRef, dispatch_queue_t,
                        FrameAvailable) = nullptr;
    CGError (*start)(StreamRef) = nullptr;
    CGError (*stop)(StreamRef) = nullptr;
    const CGRect* (*rects)(UpdateRef, int32_t, size_t*) = nullptr;
    CFStringRef sourceRectKey = nullptr;
    CFStringRef showCursorKey = nullptr;
    bool Complete() const { return create && start && stop && rects && sourceRectKey && showCursorKey; }
};

const StreamCalls& Calls() {
    static const StreamCalls calls = [] {
        StreamCalls found;
        const auto symbol = [](const char* name) { return dlsym(RTLD_DEFAULT, name); };
        found.create = reinterpret_cast<decltype(found.create)>(symbol("CGDisplayStreamCreateWithDispatchQueue"));
        found.start = reinterpret_cast<decltype(found.start)>(symbol("CGDisplayStreamStart"));
        found.stop = reinterpret_cast<decltype(found.stop)>(symbol("CGDisplayStreamStop"));
        found.rects = reinterpret_cast<decltype(found.rects)>(symbol("CGDisplayStreamUpdateGetRects"));
        if (const auto* key = static_cast<const CFStringRef*>(symbol("kCGDisplayStreamSourceRect")))
            found.sourceRectKey = *key;
        if (const auto* key = static_cast<const CFStringRef*>(symbol("kCGDisplayStreamShowCursor")))
            found.showCursorKey = *key;
        return found;
    }();
    return calls;
}

// A display time (mach absolute time) on the zTime clock.
int64_t ZTimeOf(uint64_t displayTime) {
    static const mach_timebase_info_data_t base = [] {
        mach_timebase_info_data_t info{};
        mach_timebase_info(&info);
        return info;
    }();
    const auto micros = [&](uint64_t host) { return int64_t(host * base.numer / base.denom / 1000); };
    return zTime::MicroNow() - (micros(mach_absolute_time()) - micros(displayTime));
}

FrameStatus StatusOf(int32_t status) {
    switch (status) {
    case kFrameComplete: return FrameStatus::Complete;
    case kFrameIdle: return FrameStatus::Idle;
    case kFrameBlank: return FrameStatus::Blank;
    default: return FrameStatus::Stopped;
    }
}

// A surface over the frame: the one still alive for that IOSurface, or a new one.
SurfaceRef SurfaceOf(IOSurfaceRef frame) {
    if (Surface* known = Surface::Lookup(IOSurfaceGetID(frame))) return SurfaceRef::Adopt(known);
    return SurfaceRef::Adopt(
        Surface::Create(MacSurfaceMemory::PropertiesOf(frame), std::make_unique<MacSurfaceMemory>(frame, true)));
}
} // namespace

std::unique_ptr<MacDisplayStream> MacDisplayStream::Create(DisplayStreamConfig config) {
    if (!Calls().Complete()) return nullptr;
    std::unique_ptr<MacDisplayStream> stream(new MacDisplayStream(std::move(config)));
    return stream->fStream ? std::move(stream) : nullptr;
}

MacDisplayStream::MacDisplayStream(DisplayStreamConfig config) : fDelivery(std::make_shared<Delivery>()) {
    Delivery& delivery = *fDelivery;
    delivery.handler = std::move(config.handler);
    delivery.queue = config.queue;
    delivery.width = config.outputWidth;
    delivery.height = config.outputHeight;
    if (CGDisplayModeRef mode = CGDisplayCopyDisplayMode(config.displayID)) {
        delivery.unscaled = !config.sourceRect && CGDisplayModeGetPixelWidth(mode) == config.outputWidth &&
                            CGDisplayModeGetPixelHeight(mode) == config.outputHeight;
        CGDisplayModeRelease(mode);
    }
    const StreamCalls& calls = Calls();
    CFMutableDictionaryRef properties =
        CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    if (!properties) return;
    CFDictionarySetValue(properties, calls.showCursorKey, kCFBooleanFalse); // the core draws its own
    if (config.sourceRect) {
        const Rect& r = *config.sourceRect;
        CFDictionaryRef rect = CGRectCreateDictionaryRepresentation(CGRect{{r.x, r.y}, {r.width, r.height}});
        CFDictionarySetValue(properties, calls.sourceRectKey, rect);
        CFRelease(rect);
    }
    fDispatch = dispatch_queue_create("com.qcp.display-stream", DISPATCH_QUEUE_SERIAL);
    const std::shared_ptr<Delivery> shared = fDelivery;
    fStream = calls.create(config.displayID, config.outputWidth, config.outputHeight, int32_t(config.pixelFormat),
                           properties, fDispatch,
                           ^(int32_t status, uint64_t displayTime, IOSurfaceRef frame, UpdateRef update) {
                             Deliver(shared, status, displayTime, frame, update);
                           });
    CFRelease(properties);
}

MacDisplayStream::~MacDisplayStream() {
    if (fStream) {
        Stop();
        std::lock_guard lock(fDelivery->mutex);
        fDelivery->alive = false;
    }
    if (fStream) CFRelease(fStream);
    if (fDispatch) dispatch_release(fDispatch);
}

bool MacDisplayStream::Start() {
    std::lock_guard lock(fDelivery->mutex);
    if (fDelivery->running) return true;
    fDelivery->running = Calls().start(fStream) == kCGErrorSuccess;
    return fDelivery->running;
}

bool MacDisplayStream::Stop() {
    std::lock_guard lock(fDelivery->mutex);
    if (!fDelivery->running) return false;
    fDelivery->running = false;
    ++fDelivery->stopsAsked;
    Calls().stop(fStream);
    return true;
}

void MacDisplayStream::Deliver(const std::shared_ptr<Delivery>& delivery, int32_t status, uint64_t displayTime,
                               IOSurfaceRef frame, CFTypeRef update) {
    DirtyRects dirty;
    SurfaceRef surface;
    if (status == kFrameComplete) {
        if (!frame || !(surface = SurfaceOf(frame))) return;
        size_t count = 0;
        const CGRect* rects = delivery->unscaled && update ? Calls().rects(update, kUpdateDirtyRects, &count) : nullptr;
        if (!rects) dirty = DirtyRects::Whole(delivery->width, delivery->height);
        for (size_t i = 0; rects && i < count; ++i)
            dirty.Add({rects[i].origin.x, rects[i].origin.y, rects[i].size.width, rects[i].size.height});
    }
    std::lock_guard lock(delivery->mutex);
    if (!delivery->alive) return;
    if (status == kStopped) {
        // Asked for, or the display went away: either way the run is over.
        if (delivery->stopsAsked > 0) --delivery->stopsAsked;
        else delivery->running = false;
    }
    const int64_t time = ZTimeOf(displayTime);
    delivery->queue->Async([delivery, status, time, surface = std::move(surface), dirty] {
        std::lock_guard calling(delivery->mutex);
        if (delivery->alive) delivery->handler(StatusOf(status), uint64_t(time), surface.get(), dirty);
    });
}

} // namespace qcp::platform::mac
