#pragma once
#include <memory>
#include <string>

#include "Platform.h"

// The way in for code that picks a platform, without Xlib's headers (and
// their None, Bool and Status macros) coming along.
namespace qcp::platform::x11 {

// The X11 platform on $DISPLAY; null, with the reason in `error`, when no X
// display can be opened.
std::unique_ptr<Platform> MakePlatform(std::string& error);

} // namespace qcp::platform::x11
