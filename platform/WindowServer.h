#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Geometry.h"
#include "Image.h"

namespace qcp::platform {

// One window as the window server lists it (an entry of
// CGWindowListCopyWindowInfo).
struct WindowInfo {
    // kCGWindowNumber: unique among live windows; a window that is closed and
    // opened again comes back with a new number.
    uint32_t number = 0;
    // kCGWindowName: none when the window has no title or the process may not
    // read it; may also be present and empty.
    std::optional<std::string> title;
    // kCGWindowOwnerName: the owning application's name; none when unknown.
    std::optional<std::string> ownerName;
    // kCGWindowOwnerPID.
    int32_t ownerPID = 0;
    // kCGWindowBounds: global, in points, origin at the main screen's top-left
    // corner, y down (unlike screen frames).
    Rect bounds;
    // kCGWindowIsOnscreen: shown on the current desktop, that is not
    // minimised, not hidden and not on another Space.
    bool onScreen = false;
};

// The system's window list and window pictures.
//
// Called from any thread: the host's, the window monitor's and display-link
// threads, the latter with the inventory's lock held; an implementation
// takes no lock of the core's and never calls back into the core. Every call
// answers the window server's current state: read afresh, or kept from the
// server's own reports of changes, never guessed.
class WindowServer {
public:
    virtual ~WindowServer() = default;
    // Every window, front to back (kCGWindowListOptionAll), or with
    // `onScreenOnly` just those with onScreen set
    // (kCGWindowListOptionOnScreenOnly). Empty when there are no windows or
    // the list cannot be had.
    virtual std::vector<WindowInfo> windowList(bool onScreenOnly) const = 0;
    // The entry of one window (kCGWindowListOptionIncludingWindow); none when
    // no window has that number.
    virtual std::optional<WindowInfo> window(uint32_t number) const = 0;
    // Where that window is (its entry's bounds) without the rest of the entry,
    // for the cursor drawn over each of its frames; none when no window has
    // that number. The entry's bounds unless a platform knows them for less.
    virtual std::optional<Rect> windowBounds(uint32_t number) const {
        const std::optional<WindowInfo> entry = window(number);
        return entry ? std::optional<Rect>(entry->bounds) : std::nullopt;
    }
    // A picture of that window alone, without its frame shadow, at its size in
    // pixels (CGWindowListCreateImage with kCGWindowListOptionIncludingWindow
    // and kCGWindowImageBoundsIgnoreFraming). Null when the window is gone or
    // its picture cannot be read. The picture may legitimately be fully
    // transparent (a window the system cannot show yet); the core does not
    // treat that as a failure.
    virtual ImageRef windowImage(uint32_t number) const = 0;
    // The process id of the plug-in's own process, whose windows the
    // inventory leaves out.
    virtual int32_t ownPID() const = 0;
};

} // namespace qcp::platform
