#include "X11Cursor.h"

#include <X11/extensions/Xfixes.h>

#include <vector>

#include "X11ErrorTrap.h"
#include "X11Monitors.h"

namespace qcp::platform::x11 {

X11Cursor::X11Cursor(std::unique_ptr<X11Connection> connection) : fConnection(std::move(connection)) {
    Display* display = fConnection->display();
    X11ErrorTrap trap(display);
    int errorBase = 0, major = 0, minor = 0;
    if (XFixesQueryExtension(display, &fFixesEventBase, &errorBase) && XFixesQueryVersion(display, &major, &minor) &&
        major >= 2)
        XFixesSelectCursorInput(display, fConnection->root(), XFixesDisplayCursorNotifyMask);
    else
        fFixesEventBase = -1;
}

Point X11Cursor::mouseLocation() const {
    std::lock_guard lock(fConnection->mutex());
    Display* display = fConnection->display();
    X11ErrorTrap trap(display);
    Window root = None, child = None;
    int x = 0, y = 0, windowX = 0, windowY = 0;
    unsigned int buttons = 0;
    // False when the pointer is on another X screen.
    if (!XQueryPointer(display, fConnection->root(), &root, &child, &x, &y, &windowX, &windowY, &buttons)) return {};
    const X11Monitor main = X11Monitors::Main(display, X11Monitors::Read(display, fConnection->root()));
    ReadEvents(); // what the answers brought along, so that nothing piles up
    return {double(x - main.x), double((main.y + main.height) - y)};
}

CursorImage X11Cursor::currentCursor() const {
    std::lock_guard lock(fConnection->mutex());
    if (fFixesEventBase < 0) return {};
    Display* display = fConnection->display();
    X11ErrorTrap trap(display);
    XEventsQueued(display, QueuedAfterFlush);
    ReadEvents();
    if (!fCursorChanged) return fCursor;
    fCursor = {};
    if (XFixesCursorImage* image = XFixesGetCursorImage(display)) {
        fCursor.image = ConvertPixels(image->pixels, image->width, image->height);
        fCursor.width = image->width;
        fCursor.height = image->height;
        fCursor.hotSpot = {double(image->xhot), double(image->yhot)};
        fSerial = image->cursor_serial;
        XFree(image);
    }
    fCursorChanged = false;
    return fCursor;
}

void X11Cursor::ReadEvents() const {
    Display* display = fConnection->display();
    while (XEventsQueued(display, QueuedAlready) > 0) {
        XEvent event;
        XNextEvent(display, &event);
        if (fFixesEventBase >= 0 && event.type == fFixesEventBase + XFixesCursorNotify) {
            if (reinterpret_cast<const XFixesCursorNotifyEvent&>(event).cursor_serial != fSerial) fCursorChanged = true;
        }
    }
}

ImageRef X11Cursor::ConvertPixels(const unsigned long* pixels, uint32_t width, uint32_t height) {
    if (!pixels || width == 0 || height == 0) return nullptr;
    std::vector<uint8_t> bytes(size_t(width) * height * 4);
    for (size_t i = 0; i < size_t(width) * height; ++i) {
        const unsigned long argb = pixels[i];
        bytes[i * 4 + 0] = uint8_t(argb);       // B
        bytes[i * 4 + 1] = uint8_t(argb >> 8);  // G
        bytes[i * 4 + 2] = uint8_t(argb >> 16); // R
        bytes[i * 4 + 3] = uint8_t(argb >> 24); // A
    }
    return std::make_shared<const Image>(width, height, width * 4, std::move(bytes));
}

} // namespace qcp::platform::x11
