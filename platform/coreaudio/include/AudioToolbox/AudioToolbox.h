#pragma once
// The AudioToolbox subset the capture chain uses.
#include "AUGraph.h"
#include "AudioConverter.h"
#include "AudioUnit.h"
