#pragma once
#include <memory>

#include "Platform.h"

// The way in for code that picks a platform, without Apple's headers coming
// along.
namespace qcp::platform::mac {

// The macOS platform: Apple's frameworks behind every seam.
std::unique_ptr<Platform> MakePlatform();

} // namespace qcp::platform::mac
