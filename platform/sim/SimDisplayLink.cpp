#include "SimDisplayLink.h"

#include "zTime.h"

namespace qcp::platform::sim {

SimDisplayLink::SimDisplayLink(double refreshRate, DisplayLinkCallback callback)
    : fPeriodMicros(int64_t(1e6 / (refreshRate > 0 ? refreshRate : 60))), fCallback(std::move(callback)) {}

bool SimDisplayLink::Start() {
    std::lock_guard lock(fMutex);
    if (!fTicker)
        fTicker = std::make_unique<SimTicker>("display link", fPeriodMicros, [this] { fCallback(zTime::MicroNow()); });
    return true;
}

void SimDisplayLink::Stop() {
    std::unique_ptr<SimTicker> ticker;
    {
        std::lock_guard lock(fMutex);
        ticker = std::move(fTicker);
    }
}

bool SimDisplayLink::IsRunning() const {
    std::lock_guard lock(fMutex);
    return fTicker != nullptr;
}

} // namespace qcp::platform::sim
