#pragma once
#include <memory>
#include <mutex>

#include "DisplayLink.h"
#include "SimTicker.h"

namespace qcp::platform::sim {

// Ticks at the display's refresh rate on its own thread.
class SimDisplayLink final : public DisplayLink {
public:
    SimDisplayLink(double refreshRate, DisplayLinkCallback callback);
    ~SimDisplayLink() override { Stop(); }

    bool Start() override;
    void Stop() override;
    bool IsRunning() const override;

private:
    const int64_t fPeriodMicros;
    const DisplayLinkCallback fCallback;
    mutable std::mutex fMutex;
    std::unique_ptr<SimTicker> fTicker;
};

} // namespace qcp::platform::sim
