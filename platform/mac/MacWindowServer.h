#pragma once
#include <CoreGraphics/CoreGraphics.h>

#include "WindowServer.h"

namespace qcp::platform::mac {

// The window list from CGWindowListCopyWindowInfo, read afresh at every call;
// window pictures from CGWindowListCreateImage, which the macOS 15 SDK no
// longer declares: it is looked up in CoreGraphics when first needed, and
// without it (a system that has dropped it) there are no pictures. Any
// thread.
class MacWindowServer final : public WindowServer {
public:
    std::vector<WindowInfo> windowList(bool onScreenOnly) const override;
    std::optional<WindowInfo> window(uint32_t number) const override;
    ImageRef windowImage(uint32_t number) const override;
    int32_t ownPID() const override;

    // One entry of a window list; none when it has no window number.
    static std::optional<WindowInfo> Describe(CFDictionaryRef entry);
};

} // namespace qcp::platform::mac
