#pragma once
// The host clock that AudioTimeStamp's mHostTime counts in. On systems
// without CoreAudio it is the zTime clock counted in nanoseconds, so that a
// test's manual clock moves host time too.
#include "CoreAudioTypes.h"

extern "C" {
UInt64 AudioGetCurrentHostTime(void);
Float64 AudioGetHostClockFrequency(void);
UInt32 AudioGetHostClockMinimumTimeDelta(void);
UInt64 AudioConvertHostTimeToNanos(UInt64 inHostTime);
UInt64 AudioConvertNanosToHostTime(UInt64 inNanos);
}
