#pragma once
// The AudioToolbox subset the capture chain uses.
#include "AudioConverter.h"
#include "AudioUnit.h"
