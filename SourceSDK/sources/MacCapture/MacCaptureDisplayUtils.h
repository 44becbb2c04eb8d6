#pragma once
#include <optional>
#include <string>
#include <vector>

#include "Image.h"
#include "Screens.h"
#include "Surface.h"

// A display is named three ways: by its position in the platform's screen list
// (0 = main screen), by its 32-bit display id, and by the screen record itself.
// Every function here reads the screen list afresh, so a display plugged in or
// out is seen by the next call. Callable from any thread; no state is kept.
namespace MC {

// The platform's current screen list; empty while no platform is installed.
std::vector<qcp::platform::ScreenInfo> currentScreens();

// The id of screen `index`; 0 when there is no such screen.
unsigned int displayIDFromIndex(int index);
// The first index whose screen has `displayID`; -1 when none has.
int indexFromDisplayID(unsigned int displayID);
// The screen with `displayID`; none when it is not plugged in.
std::optional<qcp::platform::ScreenInfo> screenFromDisplayID(unsigned int displayID);

// The human name of a display: its product name, else "Unknown".
std::string displayName(const qcp::platform::ScreenInfo& screen);

// A surface holding `image`: `surface` itself when its width, height and row
// length match the image and its allocation is large enough, else a new one
// (the passed surface is left as it was). Null when no surface can be made.
// The image is drawn over the surface's pixels with source-over blending.
qcp::platform::SurfaceRef copyCGImageRefToIOSurface(const qcp::platform::Image& image,
                                                    const qcp::platform::SurfaceRef& surface);

} // namespace MC
