#pragma once
#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

#include "DisplayStream.h"
#include "SimTicker.h"
#include "SimWorld.h"

namespace qcp::platform::sim {

// A display stream over the simulated desktop. Once per refresh of its
// display (a tick of the world's clock) it looks at the display:
// - gone: the run ends with an unrequested Stopped;
// - streams stalled: nothing is delivered;
// - asleep: Blank, once per sleep;
// - content changed since the last frame: the display is painted, scaled to
//   the output size, into a surface of a small pool and delivered Complete;
//   when every pooled surface is still held by someone the frame is dropped
//   and tried again at the next tick;
// - unchanged: Idle, once per quiet spell (the first unchanged tick after a
//   frame), then nothing until the content changes.
// The first tick of every run delivers a frame. Deliveries are posted to the
// stream's queue; the tick never waits for them. Every frame is painted
// whole, so frames are lent (LendsFrames) unless the world says otherwise.
class SimDisplayStream final : public DisplayStream {
public:
    SimDisplayStream(SimWorld& world, DisplayStreamConfig config, double refreshRate);
    ~SimDisplayStream() override;

    bool Start() override;
    bool Stop() override;
    bool LendsFrames() const override { return fLends; }

private:
    // Lets deliveries already queued outlive the stream without calling its
    // handler once it is gone.
    struct Gate {
        std::mutex mutex; // held while a delivery runs the handler
        std::atomic<bool> open{true};
    };

    void Tick();
    void Post(FrameStatus status, SurfaceRef surface);
    SurfaceRef FreePoolSurface();
    void EndRun(std::unique_ptr<SimTicker>& ticker);

    SimWorld& fWorld;
    const DisplayStreamConfig fConfig;
    const int64_t fPeriodMicros;
    const bool fLends;
    const std::shared_ptr<Gate> fGate = std::make_shared<Gate>();
    // Start, Stop and the destructor only (never concurrent with each other).
    std::unique_ptr<SimTicker> fTicker;
    // Set by a tick when the display went away; read by Start and Stop.
    std::atomic<bool> fEnded{false};
    // The tick's own state; reset by Start before the ticker runs.
    std::vector<SurfaceRef> fPool;
    SimWorld::DisplayScene fScene;
    uint32_t fLastCounter = 0;
    bool fDelivered = false; // a frame went out this run
    bool fIdleSent = false;
    bool fBlankSent = false;
};

} // namespace qcp::platform::sim
