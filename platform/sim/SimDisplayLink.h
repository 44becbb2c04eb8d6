#pragma once
#include <atomic>
#include <memory>

#include "DisplayLink.h"
#include "SimTicker.h"
#include "SimWorld.h"

namespace qcp::platform::sim {

// Ticks at its display's refresh rate (or once per step of a stepped clock)
// on its own thread, "sim link", calling back with zTime's now.
class SimDisplayLink final : public DisplayLink {
public:
    SimDisplayLink(SimWorld& world, double refreshRate, DisplayLinkCallback callback);
    ~SimDisplayLink() override { Stop(); }

    bool Start() override;
    void Stop() override;
    bool IsRunning() const override { return fRunning; }

private:
    SimWorld& fWorld;
    const int64_t fPeriodMicros;
    const DisplayLinkCallback fCallback;
    std::unique_ptr<SimTicker> fTicker;
    std::atomic<bool> fRunning{false};
};

} // namespace qcp::platform::sim
