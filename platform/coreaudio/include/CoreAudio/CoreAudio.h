#pragma once
// The CoreAudio subset the capture chain uses.
#include "AudioHardware.h"
#include "AudioHardwareDeprecated.h"
#include "HostTime.h"
#include "CoreAudioTypes.h"
