#pragma once
#include <X11/Xlib.h>

namespace qcp::platform::x11 {

// The atoms the plug-in reads properties by, interned once per connection
// in a single round trip.
struct X11Atoms {
    explicit X11Atoms(Display* display);

    Atom utf8String = None;
    Atom compoundText = None;
    Atom netClientList = None;
    Atom netClientListStacking = None;
    Atom netWmName = None;
    Atom netWmPid = None;
    Atom netFrameExtents = None;
    Atom netWmState = None;
    Atom netWmStateHidden = None;
    Atom netWmDesktop = None;
    Atom netCurrentDesktop = None;
    Atom wmState = None;
    Atom edid = None;
};

} // namespace qcp::platform::x11
