#pragma once
#include <memory>

#include "Platform.h"

// The way in for code that picks a platform, without Xlib's headers (and
// their None, Bool and Status macros) coming along.
namespace qcp::platform::x11 {

// The X11 platform on $DISPLAY, made even when there is no X display: it
// then shows no screens and no windows, says why once in the user log, and
// connects when a server appears on that display (see X11Platform).
std::unique_ptr<Platform> MakePlatform();

} // namespace qcp::platform::x11
