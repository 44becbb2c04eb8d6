#pragma once
// The AudioToolbox subset the capture chain uses.
#include "AudioUnit.h"
