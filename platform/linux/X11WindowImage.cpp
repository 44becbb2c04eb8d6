#include "X11WindowImage.h"

#include <X11/Xutil.h>
#include <X11/extensions/Xcomposite.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "FrameResampler.h"
#include "X11ErrorTrap.h"

namespace qcp::platform::x11 {
namespace {

struct Area {
    int x = 0, y = 0, width = 0, height = 0;
    bool Empty() const { return width <= 0 || height <= 0; }
    Area Intersect(const Area& o) const {
        const int left = std::max(x, o.x), top = std::max(y, o.y);
        const int right = std::min(x + width, o.x + o.width), bottom = std::min(y + height, o.y + o.height);
        return {left, top, std::max(0, right - left), std::max(0, bottom - top)};
    }
};

// Reads an area of a drawable; null when the server refuses.
ImageRef Read(Display* display, Drawable drawable, const Area& area, bool opaque) {
    X11ErrorTrap trap(display);
    XImage* image =
        XGetImage(display, drawable, area.x, area.y, unsigned(area.width), unsigned(area.height), AllPlanes, ZPixmap);
    if (!image) return nullptr;
    ImageRef converted = trap.Sync() == Success ? X11WindowImage::ToImage(*image, opaque) : nullptr;
    XDestroyImage(image);
    return converted;
}

} // namespace

X11WindowImage::X11WindowImage(Display* display) : fDisplay(display), fRoot(DefaultRootWindow(display)) {
    int eventBase = 0, errorBase = 0, major = 0, minor = 0;
    // Naming a window's pixmap came with version 0.2.
    fComposite = XCompositeQueryExtension(display, &eventBase, &errorBase) &&
                 XCompositeQueryVersion(display, &major, &minor) && (major > 0 || minor >= 2);
}

ImageRef X11WindowImage::Capture(Window client, int x, int y, int width, int height) {
    const Window frame = FrameOf(client);
    XWindowAttributes attributes{};
    if (frame == None || !XGetWindowAttributes(fDisplay, frame, &attributes) || attributes.map_state != IsViewable)
        return nullptr;
    // The frame's pixmap covers its border too, from the outer corner.
    const Area outer{attributes.x, attributes.y, attributes.width + 2 * attributes.border_width,
                     attributes.height + 2 * attributes.border_width};
    const Area wanted = Area{x, y, width, height}.Intersect(outer);
    if (wanted.Empty()) return nullptr;
    const bool opaque = attributes.depth != 32;
    if (fComposite) {
        Redirect(frame);
        X11ErrorTrap trap(fDisplay);
        const Pixmap pixmap = XCompositeNameWindowPixmap(fDisplay, frame);
        ImageRef image;
        if (trap.Sync() == Success) {
            image =
                Read(fDisplay, pixmap, {wanted.x - outer.x, wanted.y - outer.y, wanted.width, wanted.height}, opaque);
            XFreePixmap(fDisplay, pixmap);
        }
        if (image) return image;
    }
    XWindowAttributes root{};
    if (!XGetWindowAttributes(fDisplay, fRoot, &root)) return nullptr;
    const Area onScreen = wanted.Intersect({0, 0, root.width, root.height});
    return onScreen.Empty() ? nullptr : Read(fDisplay, fRoot, onScreen, true);
}

Window X11WindowImage::FrameOf(Window client) const {
    Window window = client;
    for (;;) {
        Window root = None, parent = None;
        Window* children = nullptr;
        unsigned count = 0;
        if (!XQueryTree(fDisplay, window, &root, &parent, &children, &count)) return None;
        if (children) XFree(children);
        if (parent == None) return None; // the root itself
        if (parent == root) return window;
        window = parent;
    }
}

void X11WindowImage::Redirect(Window frame) {
    if (fRedirected.contains(frame)) return;
    X11ErrorTrap trap(fDisplay);
    // Told when the frame goes, so that a later window given the same id is
    // redirected afresh.
    XSelectInput(fDisplay, frame, StructureNotifyMask);
    XCompositeRedirectWindow(fDisplay, frame, CompositeRedirectAutomatic);
    // Refused when a compositing manager holds the window in manual mode:
    // its pixmap can be named then all the same.
    trap.Sync();
    fRedirected.insert(frame);
}

void X11WindowImage::ReadEvents() {
    while (XEventsQueued(fDisplay, QueuedAfterReading) > 0) {
        XEvent event;
        XNextEvent(fDisplay, &event);
        if (event.type == DestroyNotify) fRedirected.erase(event.xdestroywindow.window);
    }
}

ImageRef X11WindowImage::ToImage(const XImage& image, bool opaque) {
    if (image.bits_per_pixel != 32 || image.width <= 0 || image.height <= 0) return nullptr;
    const uint32_t width = uint32_t(image.width), height = uint32_t(image.height);
    std::vector<uint8_t> pixels(size_t(width) * 4 * height);
    for (uint32_t row = 0; row < height; ++row)
        std::memcpy(pixels.data() + size_t(row) * width * 4, image.data + size_t(row) * size_t(image.bytes_per_line),
                    size_t(width) * 4);
    if (opaque) FrameResampler::MakeOpaque(pixels.data(), size_t(width) * 4, width, height);
    return std::make_shared<const Image>(width, height, width * 4, std::move(pixels));
}

} // namespace qcp::platform::x11
