#pragma once
// Starting and stopping an output unit's device I/O.
#include "AUComponent.h"

extern "C" {
OSStatus AudioOutputUnitStart(AudioUnit ci);
// Once it returns, the unit's callbacks are not running and will not be
// called again (from inside a callback: not called again).
OSStatus AudioOutputUnitStop(AudioUnit ci);
}
