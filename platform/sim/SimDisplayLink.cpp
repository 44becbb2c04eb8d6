#include "SimDisplayLink.h"

#include "zTime.h"

namespace qcp::platform::sim {

SimDisplayLink::SimDisplayLink(SimWorld& world, double refreshRate, DisplayLinkCallback callback)
    : fWorld(world), fPeriodMicros(SimTicker::PeriodFor(refreshRate)), fCallback(std::move(callback)) {}

bool SimDisplayLink::Start() {
    if (fTicker) return true;
    fWorld.CounterSet().runningLinks.fetch_add(1);
    fTicker = std::make_unique<SimTicker>(fWorld.Clock(), "sim link", fPeriodMicros, [this] {
        fWorld.CounterSet().linkTicks.fetch_add(1);
        fCallback(zTime::MicroNow());
    });
    fRunning = true;
    return true;
}

void SimDisplayLink::Stop() {
    if (!fTicker) return;
    fTicker.reset(); // waits for a callback in progress
    fRunning = false;
    fWorld.CounterSet().runningLinks.fetch_sub(1);
}

} // namespace qcp::platform::sim
