#pragma once
#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

#include "DisplayStream.h"
#include "SimTicker.h"
#include "SimWorld.h"

namespace qcp::platform::sim {

// A display stream over the simulated desktop: at the display's refresh rate
// it renders a frame into a surface from a small pool when the display's
// content changed, and reports Idle once when it did not.
class SimDisplayStream final : public DisplayStream {
public:
    SimDisplayStream(SimWorld& world, DisplayStreamConfig config, double refreshRate);
    ~SimDisplayStream() override;

    bool Start() override;
    bool Stop() override;

private:
    void Tick();
    SurfaceRef TakePoolSurface();

    SimWorld& fWorld;
    const DisplayStreamConfig fConfig;
    const int64_t fPeriodMicros;
    std::mutex fMutex; // guards the ticker and the pool
    std::unique_ptr<SimTicker> fTicker;
    std::vector<SurfaceRef> fPool;
    uint64_t fLastVersion = 0;
    bool fIdleSent = false;
    // Shared with deliveries queued but not yet run, which may outlive the stream.
    std::shared_ptr<std::atomic<bool>> fAlive = std::make_shared<std::atomic<bool>>(true);
};

} // namespace qcp::platform::sim
