#pragma once
#include <X11/Xlib.h>

#include <optional>
#include <string>
#include <vector>

#include "X11Atoms.h"

namespace qcp::platform::x11 {

// Reading window properties. Each read is one round trip; a missing
// property, a window that is gone or a value of another type reads as empty.
// Callers hold an X11ErrorTrap.
namespace X11Properties {

// A property of 32-bit items of `type` (CARDINAL, WINDOW, ATOM...), as Xlib
// hands them: one long each. None when the window has no such property.
std::optional<std::vector<unsigned long>> ReadLongs(Display* display, Window window, Atom property, Atom type);
// Raw bytes of an 8-bit property of any type, with that type.
std::optional<std::string> ReadBytes(Display* display, Window window, Atom property, Atom* type = nullptr);

// The title in UTF-8: _NET_WM_NAME, else WM_NAME (Latin-1 or compound text
// converted). None when the window has neither.
std::optional<std::string> ReadTitle(Display* display, Window window, const X11Atoms& atoms);
// The class part of WM_CLASS ("Firefox" of "Navigator", "Firefox").
std::optional<std::string> ReadClassName(Display* display, Window window);
// WM_CLIENT_MACHINE: the host the client runs on, as the client names it
// (ICCCM: STRING, Latin-1, converted). None when unset or empty.
std::optional<std::string> ReadClientMachine(Display* display, Window window);

// ISO 8859-1 bytes as UTF-8.
std::string Latin1ToUtf8(const std::string& text);

} // namespace X11Properties
} // namespace qcp::platform::x11
