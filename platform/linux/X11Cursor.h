#pragma once
#include <memory>

#include "Cursor.h"
#include "X11Connection.h"

namespace qcp::platform::x11 {

// The pointer and the cursor's picture (XFixes), on a connection of its own
// guarded by its mutex; any thread.
//
// The picture is fetched again only when XFixes reports a new cursor serial;
// until then the same CursorImage, picture included, is handed out. The
// mouse location is converted to the macOS convention against the main
// monitor as RandR has it at that moment (monitors set by clients change
// without any notice).
class X11Cursor final : public Cursor {
public:
    explicit X11Cursor(std::unique_ptr<X11Connection> connection);

    Point mouseLocation() const override;
    CursorImage currentCursor() const override;

    // XFixes' cursor pixels (premultiplied ARGB, one per unsigned long) as an
    // Image; null for an empty cursor.
    static ImageRef ConvertPixels(const unsigned long* pixels, uint32_t width, uint32_t height);

private:
    // The caller holds the connection's mutex and a trap.
    void ReadEvents() const;

    std::unique_ptr<X11Connection> fConnection;
    int fFixesEventBase = -1; // -1 without XFixes
    mutable bool fCursorChanged = true;
    mutable unsigned long fSerial = 0; // of the picture in fCursor
    mutable CursorImage fCursor;
};

} // namespace qcp::platform::x11
