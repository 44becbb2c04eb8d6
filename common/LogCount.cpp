#include "LogCount.h"

#include "zTime.h"

namespace MC {
namespace {
constexpr double kBurstPauseSeconds = 5.0;
}

LogCount::LogCount() : fCreatedMicros(zTime::MicroNow()) {}

double LogCount::Reading() const { return double(fCreatedMicros - zTime::MicroNow()) / 1e6; }

int32_t LogCount::logCount() {
    const double now = Reading();
    int32_t count = fLogCount;
    if (fLastLogTime != 0.0 && now - fLastLogTime < -kBurstPauseSeconds) count = 0;
    fLastLogTime = now;
    fLogCount = count + 1;
    return count;
}

} // namespace MC
