#include "X11Cursor.h"

#include <X11/extensions/Xfixes.h>

#include <vector>

#include "X11ErrorTrap.h"
#include "X11Monitors.h"

namespace qcp::platform::x11 {

X11Cursor::Link::Link(std::unique_ptr<X11Connection> made) : connection(std::move(made)) {
    Display* display = connection->display();
    X11ErrorTrap trap(display);
    int errorBase = 0, major = 0, minor = 0;
    if (XFixesQueryExtension(display, &fixesEventBase, &errorBase) && XFixesQueryVersion(display, &major, &minor) &&
        major >= 2)
        XFixesSelectCursorInput(display, connection->root(), XFixesDisplayCursorNotifyMask);
    else
        fixesEventBase = -1;
}

X11Cursor::Link* X11Cursor::Connected() const {
    return fServer.Refresh(fLink, X11Server::Reconnect::NotWhileLost);
}

Point X11Cursor::mouseLocation() const {
    std::lock_guard lock(fMutex);
    Link* link = Connected();
    if (!link) return {};
    Display* display = link->connection->display();
    const std::optional<X11Pointer> pointer =
        X11Monitors::ReadWithPointer(display, link->connection->root(), link->monitors);
    X11ErrorTrap trap(display); // set after XCB's questions, which it would otherwise sync for
    link->ReadEvents(); // what the answers brought along, so that nothing piles up
    if (!pointer || !link->connection->usable()) return {};
    return X11Monitors::GlobalPoint(*pointer, X11Monitors::Main(display, link->monitors));
}

CursorImage X11Cursor::currentCursor() const {
    std::lock_guard lock(fMutex);
    Link* link = Connected();
    if (!link || link->fixesEventBase < 0) return {};
    Display* display = link->connection->display();
    X11ErrorTrap trap(display);
    link->ReadEvents();
    if (!link->cursorChanged) return link->cursor;
    link->cursor = {};
    if (XFixesCursorImage* image = XFixesGetCursorImage(display)) {
        link->cursor.image = ConvertPixels(image->pixels, image->width, image->height);
        link->cursor.width = image->width;
        link->cursor.height = image->height;
        link->cursor.hotSpot = {double(image->xhot), double(image->yhot)};
        link->serial = image->cursor_serial;
        XFree(image);
    }
    if (!link->connection->usable()) return {}; // the link goes at the next call
    link->cursorChanged = false;
    return link->cursor;
}

void X11Cursor::Link::ReadEvents() {
    Display* display = connection->display();
    // The socket is looked at once (the answers were read over XCB, which
    // keeps the events that came with them until Xlib reads), then Xlib's queue.
    for (int queued = XEventsQueued(display, QueuedAfterReading); queued > 0;
         queued = XEventsQueued(display, QueuedAlready)) {
        XEvent event;
        XNextEvent(display, &event);
        if (fixesEventBase >= 0 && event.type == fixesEventBase + XFixesCursorNotify) {
            if (reinterpret_cast<const XFixesCursorNotifyEvent&>(event).cursor_serial != serial) cursorChanged = true;
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
