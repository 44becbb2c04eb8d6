#pragma once
#include <CoreGraphics/CoreGraphics.h>

#include <mutex>

#include "Cursor.h"

namespace qcp::platform::mac {

// The mouse from a CoreGraphics event made on the spot (its location is
// global, y down from the main display's top-left corner, and is turned over
// to the screens' y up); the cursor from NSCursor's current system cursor,
// its picture drawn into premultiplied B, G, R, A pixels. The picture is
// converted again only when the system hands out another image, so a cursor
// that does not change costs no copy and no allocation. Any thread.
class MacCursor final : public Cursor {
public:
    ~MacCursor() override;
    Point mouseLocation() const override;
    CursorImage currentCursor() const override;

private:
    mutable std::mutex fMutex;
    mutable CGImageRef fConverted = nullptr; // retained: its address is not reused while held
    mutable CursorImage fCursor;
};

} // namespace qcp::platform::mac
