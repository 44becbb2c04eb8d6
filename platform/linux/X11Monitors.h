#pragma once
#include <X11/Xlib.h>
#include <X11/extensions/Xrandr.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Geometry.h"

namespace qcp::platform::x11 {

// One monitor as RandR arranges them on the root window (pixels, origin at
// the root's top-left, y down).
struct X11Monitor {
    // The display id the seams use: the monitor's first RandR output; for a
    // monitor made of no output (`xrandr --setmonitor NAME GEOMETRY none`),
    // its name atom; for a server without RandR monitors, the root window.
    uint32_t displayID = 0;
    RROutput output = None; // None for the last two kinds
    Atom name = None;
    int x = 0, y = 0, width = 0, height = 0;
    bool primary = false;

    bool Contains(int px, int py) const { return px >= x && px < x + width && py >= y && py < y + height; }
};

// Where the pointer is on the root window, in pixels.
struct X11Pointer {
    int x = 0, y = 0;
};

namespace X11Monitors {

// RandR reports changes of outputs and modes as they happen, but monitors
// that clients set (`xrandr --setmonitor`) change without any event: whoever
// keeps monitors between questions reads them again at least this often.
constexpr int64_t kUnreportedChangeMicros = 1'000'000;

// Whether the server has RandR 1.5 monitors; X11Monitors falls back to one
// monitor covering the root window otherwise.
bool HaveMonitors(Display* display);
// The active monitors, the primary first, then in RandR's order. One round
// trip. Empty when the server lists none.
std::vector<X11Monitor> Read(Display* display, Window root);
// The same into `monitors`, whose capacity is reused.
void Read(Display* display, Window root, std::vector<X11Monitor>& monitors);
// The same, and where the pointer is, asked together in one round trip
// (what every pass of the cursor asks). No pointer when it is on another X
// screen. Asked over XCB: errors come back with the answers, so call it
// outside any error trap (a trap would sync for requests Xlib cannot see
// answered). Events that came before the answers wait in XCB until Xlib
// next reads (XEventsQueued with QueuedAfterReading, XPending, XNextEvent).
std::optional<X11Pointer> ReadWithPointer(Display* display, Window root, std::vector<X11Monitor>& monitors);
// Where the pointer is, alone, asked the same way.
std::optional<X11Pointer> ReadPointer(Display* display, Window root);
// The main monitor as Main(display, Read(display, root)) finds it, without a list.
X11Monitor ReadMain(Display* display, Window root);
// The main monitor of a list (the first), or the whole root when there is none.
X11Monitor Main(Display* display, const std::vector<X11Monitor>& monitors);
// A monitor's frame in the macOS convention: global, origin at the main
// monitor's bottom-left corner, y up.
Rect GlobalFrame(const X11Monitor& monitor, const X11Monitor& main);
// A root position in the same convention.
Point GlobalPoint(const X11Pointer& pointer, const X11Monitor& main);
// Refreshes per second of a mode; 0 when the mode does not say.
double RefreshRate(const XRRModeInfo& mode);
// The monitor name descriptor (tag 0xFC) of an EDID base block, trimmed;
// none when the block is not EDID or names no product.
std::optional<std::string> EdidProductName(const uint8_t* edid, size_t size);

} // namespace X11Monitors
} // namespace qcp::platform::x11
