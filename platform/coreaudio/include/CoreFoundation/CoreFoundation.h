#pragma once
// The CoreFoundation subset the capture chain uses.
#include "CFArray.h"
#include "CFBase.h"
#include "CFDictionary.h"
#include "CFNumber.h"
#include "CFString.h"
