#pragma once
// The audio unit subset the capture chain uses.
#include "AUComponent.h"
#include "AudioComponent.h"
#include "AudioOutputUnit.h"
#include "AudioUnitProperties.h"
