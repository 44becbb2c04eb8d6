#pragma once
// The two boolean objects (CFBoolean is declared with CFNumber by Apple).
#include "CFBase.h"

typedef const struct __CFBoolean* CFBooleanRef;

extern "C" {
extern const CFBooleanRef kCFBooleanTrue;
extern const CFBooleanRef kCFBooleanFalse;
CFTypeID CFBooleanGetTypeID(void);
Boolean CFBooleanGetValue(CFBooleanRef boolean);
}
