#include "SimDisplayStream.h"

#include "SimPainter.h"
#include "zQueue.h"
#include "zTime.h"

namespace qcp::platform::sim {
namespace {
// As many surfaces as a real stream's default queue depth, plus the one
// being painted.
constexpr size_t kPoolSize = 4;
} // namespace

SimDisplayStream::SimDisplayStream(SimWorld& world, DisplayStreamConfig config, double refreshRate)
    : fWorld(world), fConfig(std::move(config)), fPeriodMicros(SimTicker::PeriodFor(refreshRate)),
      fLends(world.StreamsLendFrames()) {}

SimDisplayStream::~SimDisplayStream() {
    EndRun(fTicker);
    fGate->open = false;
    // Wait for a delivery in progress, unless this is that delivery.
    if (!fConfig.queue->IsCurrent()) std::lock_guard wait(fGate->mutex);
}

void SimDisplayStream::EndRun(std::unique_ptr<SimTicker>& ticker) {
    if (!ticker) return;
    ticker.reset(); // no tick runs after this
    if (!fEnded) fWorld.CounterSet().runningStreams.fetch_sub(1);
}

bool SimDisplayStream::Start() {
    if (fTicker && !fEnded) return true;
    EndRun(fTicker);
    if (!fWorld.Screen(fConfig.displayID)) return false;
    fEnded = false;
    fDelivered = fIdleSent = fBlankSent = false;
    fWorld.CounterSet().runningStreams.fetch_add(1);
    fTicker = std::make_unique<SimTicker>(fWorld.Clock(), "sim stream", fPeriodMicros, [this] { Tick(); });
    return true;
}

bool SimDisplayStream::Stop() {
    if (!fTicker) return false;
    const bool wasRunning = !fEnded;
    EndRun(fTicker);
    if (!wasRunning) return false; // the display's going away already ended the run
    Post(FrameStatus::Stopped, {});
    return true;
}

void SimDisplayStream::Post(FrameStatus status, SurfaceRef surface) {
    SimCounterSet& counters = fWorld.CounterSet();
    switch (status) {
    case FrameStatus::Complete: counters.framesDelivered.fetch_add(1); break;
    case FrameStatus::Idle: counters.idleDelivered.fetch_add(1); break;
    case FrameStatus::Blank: counters.blankDelivered.fetch_add(1); break;
    case FrameStatus::Stopped: counters.stoppedDelivered.fetch_add(1); break;
    }
    const uint64_t displayTime = uint64_t(zTime::MicroNow());
    fConfig.queue->Async([gate = fGate, handler = fConfig.handler, status, displayTime, surface = std::move(surface)] {
        std::lock_guard lock(gate->mutex);
        // The simulated scene is painted whole, so a frame accounts for all of itself.
        const DirtyRects dirty = surface ? DirtyRects::Whole(surface->width(), surface->height()) : DirtyRects{};
        if (gate->open) handler(status, displayTime, surface.get(), dirty);
    });
}

SurfaceRef SimDisplayStream::FreePoolSurface() {
    // Held only by the pool: nobody is reading it, so it can be painted over.
    for (const SurfaceRef& surface : fPool)
        if (surface->RetainCount() == 1) return surface;
    if (fPool.size() == kPoolSize) return {};
    SurfaceRef surface = SurfaceRef::Adopt(
        Surface::Create(SurfaceProperties::Packed(fConfig.outputWidth, fConfig.outputHeight, fConfig.pixelFormat)));
    if (surface) fPool.push_back(surface);
    return surface;
}

void SimDisplayStream::Tick() {
    if (fEnded) return;
    if (!fWorld.FillScene(fConfig.displayID, fScene)) {
        // Unplugged: the run ends as real streams end it.
        fEnded = true;
        fWorld.CounterSet().runningStreams.fetch_sub(1);
        Post(FrameStatus::Stopped, {});
        return;
    }
    if (fWorld.StreamsStalled()) return;
    if (fScene.asleep) {
        if (!fBlankSent) Post(FrameStatus::Blank, {});
        fBlankSent = true;
        return;
    }
    fBlankSent = false;
    if (fDelivered && fScene.counter == fLastCounter) {
        if (!fIdleSent) Post(FrameStatus::Idle, {});
        fIdleSent = true;
        return;
    }
    SurfaceRef surface = FreePoolSurface();
    if (!surface) {
        fWorld.CounterSet().framesDropped.fetch_add(1);
        return;
    }
    SimPainter::PaintDisplay(fScene, fConfig.sourceRect, *surface);
    fLastCounter = fScene.counter;
    fDelivered = true;
    fIdleSent = false;
    Post(FrameStatus::Complete, std::move(surface));
}

} // namespace qcp::platform::sim
