#include "CoreAudio/HostTime.h"

#include "zTime.h"

namespace {
constexpr UInt64 kNanosPerMicro = 1000;
} // namespace

extern "C" {

UInt64 AudioGetCurrentHostTime(void) { return static_cast<UInt64>(zTime::MicroNow()) * kNanosPerMicro; }

Float64 AudioGetHostClockFrequency(void) { return 1e9; }

// The clock moves in whole microseconds.
UInt32 AudioGetHostClockMinimumTimeDelta(void) { return kNanosPerMicro; }

UInt64 AudioConvertHostTimeToNanos(UInt64 inHostTime) { return inHostTime; }

UInt64 AudioConvertNanosToHostTime(UInt64 inNanos) { return inNanos; }
}
