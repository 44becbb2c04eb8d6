#include "SimDisplayStream.h"

#include <algorithm>

#include "zQueue.h"
#include "zThread.h"
#include "zTime.h"

namespace qcp::platform::sim {
namespace {
constexpr size_t kPoolSize = 4;
}

SimDisplayStream::SimDisplayStream(SimWorld& world, DisplayStreamConfig config, double refreshRate)
    : fWorld(world), fConfig(std::move(config)), fPeriodMicros(int64_t(1e6 / (refreshRate > 0 ? refreshRate : 60))) {}

SimDisplayStream::~SimDisplayStream() {
    std::unique_ptr<SimTicker> ticker;
    {
        std::lock_guard lock(fMutex);
        ticker = std::move(fTicker);
    }
    ticker.reset();
    *fAlive = false;
}

bool SimDisplayStream::Start() {
    std::lock_guard lock(fMutex);
    if (fTicker) return true;
    fLastVersion = 0;
    fIdleSent = false;
    fTicker = std::make_unique<SimTicker>("sim stream", fPeriodMicros, [this] { Tick(); });
    return true;
}

bool SimDisplayStream::Stop() {
    std::unique_ptr<SimTicker> ticker;
    {
        std::lock_guard lock(fMutex);
        ticker = std::move(fTicker);
    }
    if (!ticker) return false;
    ticker.reset(); // no frame is rendered after this
    auto alive = fAlive;
    auto handler = fConfig.handler;
    fConfig.queue->Async([alive, handler] {
        if (*alive) handler(FrameStatus::Stopped, uint64_t(zTime::MicroNow()), nullptr);
    });
    return true;
}

SurfaceRef SimDisplayStream::TakePoolSurface() {
    // A surface nobody else holds can be drawn into again.
    for (const SurfaceRef& surface : fPool)
        if (surface->RetainCount() == 1) return surface;
    SurfaceProperties properties;
    properties.width = fConfig.outputWidth;
    properties.height = fConfig.outputHeight;
    properties.bytesPerRow = fConfig.outputWidth * 4;
    properties.allocSize = size_t(properties.bytesPerRow) * properties.height;
    SurfaceRef surface = SurfaceRef::Adopt(Surface::Create(properties));
    if (surface && fPool.size() < kPoolSize) fPool.push_back(surface);
    return surface;
}

void SimDisplayStream::Tick() {
    if (fWorld.StreamStalled()) return;
    const uint64_t version = fWorld.DisplayVersion(fConfig.displayID);
    std::lock_guard lock(fMutex);
    if (version == fLastVersion) {
        if (fIdleSent) return;
        fIdleSent = true;
        auto alive = fAlive;
        auto handler = fConfig.handler;
        fConfig.queue->Async([alive, handler] {
            if (*alive) handler(FrameStatus::Idle, uint64_t(zTime::MicroNow()), nullptr);
        });
        return;
    }
    SurfaceRef surface = TakePoolSurface();
    if (!surface || !fWorld.RenderDisplay(fConfig.displayID, fConfig.sourceRect, *surface)) return;
    fLastVersion = version;
    fIdleSent = false;
    const uint64_t displayTime = uint64_t(zTime::MicroNow());
    auto alive = fAlive;
    auto handler = fConfig.handler;
    fConfig.queue->Async([alive, handler, surface, displayTime] {
        if (*alive) handler(FrameStatus::Complete, displayTime, surface.get());
    });
}

} // namespace qcp::platform::sim
