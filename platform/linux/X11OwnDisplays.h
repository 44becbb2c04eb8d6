#pragma once
#include <X11/Xlib.h>

namespace qcp::platform::x11 {

// The X connections the plug-in opened, as Xlib's process-wide error
// handlers need to tell them from the host's. Lock-free, so that a handler
// running inside Xlib never waits for a thread that may itself be waiting
// in Xlib. Holds up to kCapacity connections at once.
namespace X11OwnDisplays {

constexpr int kCapacity = 256;

// False when all places are taken.
bool Add(Display* display);
// Removes one entry of `display` (a closed display's address may come back
// for a new connection before the old entry is removed).
void Remove(Display* display);
bool Contains(Display* display);

} // namespace X11OwnDisplays
} // namespace qcp::platform::x11
