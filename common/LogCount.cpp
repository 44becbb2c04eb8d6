#include "LogCount.h"

#include "zTime.h"

namespace MC {
namespace {
// A pause longer than this starts a new burst. The clock counts whole
// microseconds; half a tick of slack keeps a pause of exactly five seconds from
// tipping over through the rounding of the two readings' difference.
constexpr double kBurstPauseSeconds = 5.0 + 0.5e-6;
} // namespace

LogCount::LogCount() : _pDate(zTime::MicroNow()) {}

double LogCount::Reading() const { return double(_pDate - zTime::MicroNow()) / 1e6; }

int32_t LogCount::logCount() {
    const double now = Reading();
    int32_t count = _logCount;
    if (_lastLogTime != 0.0 && now - _lastLogTime < -kBurstPauseSeconds) count = 0;
    _lastLogTime = now;
    _logCount = count + 1;
    return count;
}

} // namespace MC
