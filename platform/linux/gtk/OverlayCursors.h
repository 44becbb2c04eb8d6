#pragma once
#include <gdk/gdk.h>

#include <array>
#include <string>

#include "GObjectPointers.h"
#include "SelectionUI.h"

namespace qcp::platform::gtk {

// The pointer's looks over the overlay, made once per overlay on GTK's
// thread: themed cursors by name, and the two diagonal ones from the images
// "resizeCursorLR" and "resizeCursorRL" with the hot spot at their centre
// (themed diagonal cursors when an image cannot be loaded).
class OverlayCursors {
public:
    OverlayCursors(GdkDisplay* display, const std::string& folder);

    // Null for a look the cursor theme does not have: the root window's
    // cursor then shows.
    GdkCursor* For(OverlayCursor cursor) const { return fCursors[size_t(cursor)].get(); }

private:
    std::array<GObjectPtr<GdkCursor>, 7> fCursors;
};

} // namespace qcp::platform::gtk
