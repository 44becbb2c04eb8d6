#pragma once
#include "Screens.h"

namespace qcp::platform::mac {

// The screen list from CoreGraphics: the active displays, the main one
// first, with their bounds turned into the global space of screen frames
// (origin at the main display's bottom-left corner, y up), the backing scale
// from the current mode's pixels per point and its refresh rate; product
// names from NSScreen's localized names, matched by "NSScreenNumber".
// Read afresh at every call; any thread.
class MacScreens final : public Screens {
public:
    void list(std::vector<ScreenInfo>& screens) const override;
};

} // namespace qcp::platform::mac
