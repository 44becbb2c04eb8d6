#include "X11WindowImage.h"

#include <X11/Xutil.h>
#include <X11/extensions/Xcomposite.h>
#include <X11/extensions/Xdamage.h>

#include <algorithm>
#include <vector>

#include "X11ErrorTrap.h"

namespace qcp::platform::x11 {
X11WindowImage::Area X11WindowImage::Area::Intersect(const Area& other) const {
    const int left = std::max(x, other.x), top = std::max(y, other.y);
    const int right = std::min(x + width, other.x + other.width);
    const int bottom = std::min(y + height, other.y + other.height);
    return {left, top, std::max(0, right - left), std::max(0, bottom - top)};
}

namespace {
// As many pictures as a source, the window server's cache and a reader in
// between hold, for a couple of windows.
constexpr size_t kPoolSize = 6;
} // namespace

ImageRef X11WindowImage::Read(Drawable drawable, const Area& area, bool opaque, Visual* visual, int depth) {
    if (SharedSegment(area, visual, depth) && fShared.image->Read(drawable, area.x, area.y))
        return Picture(fShared.image->data(), fShared.image->bytesPerRow(), area, opaque);
    X11ErrorTrap trap(fDisplay);
    XImage* image =
        XGetImage(fDisplay, drawable, area.x, area.y, unsigned(area.width), unsigned(area.height), AllPlanes, ZPixmap);
    if (!image) return nullptr;
    ImageRef picture;
    if (trap.Sync() == Success && image->bits_per_pixel == 32)
        picture = Picture(reinterpret_cast<const uint8_t*>(image->data), size_t(image->bytes_per_line), area, opaque);
    XDestroyImage(image);
    return picture;
}

bool X11WindowImage::SharedSegment(const Area& area, Visual* visual, int depth) {
    if (!fShm) return false;
    SharedRead& shared = fShared;
    if (shared.image && shared.width == area.width && shared.height == area.height && shared.depth == depth &&
        shared.visual == visual)
        return true;
    shared.image.reset(); // detached before its memory goes
    shared.memory = ShmSurfaceMemory::Create(size_t(area.width) * 4 * size_t(area.height));
    if (!shared.memory) return false;
    shared.image = X11ShmImage::Attach(fConnection, shared.memory->shmid(), shared.memory->data(),
                                       uint32_t(area.width), uint32_t(area.height), visual, unsigned(depth));
    if (!shared.image) return false;
    shared.width = area.width;
    shared.height = area.height;
    shared.depth = depth;
    shared.visual = visual;
    return true;
}

ImageRef X11WindowImage::Picture(const uint8_t* pixels, size_t stride, const Area& area, bool opaque) {
    const uint32_t width = uint32_t(area.width), height = uint32_t(area.height);
    const std::shared_ptr<Image> image = FreeImage(width, height, opaque);
    // Copied and, without an alpha channel, made opaque in the one pass.
    const uint32_t alpha = opaque ? 0xFF000000u : 0;
    for (uint32_t y = 0; y < height; ++y) {
        uint32_t* out = reinterpret_cast<uint32_t*>(image->pixelsForReuse() + size_t(y) * image->bytesPerRow());
        const auto* in = reinterpret_cast<const uint32_t*>(pixels + size_t(y) * stride);
        for (uint32_t x = 0; x < width; ++x) out[x] = in[x] | alpha;
    }
    return image;
}

std::shared_ptr<Image> X11WindowImage::FreeImage(uint32_t width, uint32_t height, bool opaque) {
    for (const std::shared_ptr<Image>& pooled : fPool)
        if (pooled.use_count() == 1 && pooled->width() == width && pooled->height() == height &&
            pooled->opaque() == opaque)
            return pooled;
    auto made = std::make_shared<Image>(width, height, width * 4, std::vector<uint8_t>(size_t(width) * 4 * height),
                                        opaque);
    // A full pool gives way to the newest size: its free pictures go first.
    if (fPool.size() == kPoolSize) {
        const auto free = std::find_if(fPool.begin(), fPool.end(), [](const auto& p) { return p.use_count() == 1; });
        if (free == fPool.end()) return made;
        fPool.erase(free);
    }
    fPool.push_back(made);
    return made;
}

X11WindowImage::X11WindowImage(const X11Connection& connection)
    : fConnection(connection), fDisplay(connection.display()), fRoot(DefaultRootWindow(fDisplay)),
      fShm(X11ShmImage::Available(fDisplay)) {
    Display* display = fDisplay;
    int eventBase = 0, errorBase = 0, major = 0, minor = 0;
    // Naming a window's pixmap came with version 0.2.
    fComposite = XCompositeQueryExtension(display, &eventBase, &errorBase) &&
                 XCompositeQueryVersion(display, &major, &minor) && (major > 0 || minor >= 2);
    if (XDamageQueryExtension(display, &eventBase, &errorBase) && XDamageQueryVersion(display, &major, &minor))
        fDamageEventBase = eventBase;
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
        Redirected& redirected = Redirect(frame);
        const Area read{wanted.x - outer.x, wanted.y - outer.y, wanted.width, wanted.height};
        if (!redirected.changed && redirected.image && redirected.read == read) return redirected.image;
        // Changes from here on are told by events still to come.
        redirected.changed = fDamageEventBase < 0;
        X11ErrorTrap trap(fDisplay);
        const Pixmap pixmap = XCompositeNameWindowPixmap(fDisplay, frame);
        ImageRef image;
        if (trap.Sync() == Success) {
            image = Read(pixmap, read, opaque, attributes.visual, attributes.depth);
            XFreePixmap(fDisplay, pixmap);
        }
        redirected.read = read;
        redirected.image = image;
        if (image) return image;
    }
    XWindowAttributes root{};
    if (!XGetWindowAttributes(fDisplay, fRoot, &root)) return nullptr;
    const Area onScreen = wanted.Intersect({0, 0, root.width, root.height});
    return onScreen.Empty() ? nullptr : Read(fRoot, onScreen, true, nullptr, 0);
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

X11WindowImage::Redirected& X11WindowImage::Redirect(Window frame) {
    if (const auto found = fRedirected.find(frame); found != fRedirected.end()) return found->second;
    Redirected& redirected = fRedirected[frame];
    X11ErrorTrap trap(fDisplay);
    // Told when the frame goes, so that a later window given the same id is
    // redirected afresh.
    XSelectInput(fDisplay, frame, StructureNotifyMask);
    XCompositeRedirectWindow(fDisplay, frame, CompositeRedirectAutomatic);
    // Refused when a compositing manager holds the window in manual mode:
    // its pixmap can be named then all the same.
    trap.Sync();
    if (fDamageEventBase >= 0) {
        redirected.damage = XDamageCreate(fDisplay, frame, XDamageReportNonEmpty);
        if (trap.Sync() != Success) redirected.damage = None;
    }
    if (redirected.damage == None) fDamageEventBase = -1; // changes cannot be told: read every time
    return redirected;
}

void X11WindowImage::ReadEvents() {
    while (XEventsQueued(fDisplay, QueuedAfterReading) > 0) {
        XEvent event;
        XNextEvent(fDisplay, &event);
        if (event.type == DestroyNotify) {
            // The server frees the frame's damage with it.
            fRedirected.erase(event.xdestroywindow.window);
        } else if (fDamageEventBase >= 0 && event.type == fDamageEventBase + XDamageNotify) {
            const auto& notify = reinterpret_cast<const XDamageNotifyEvent&>(event);
            const auto found = fRedirected.find(notify.drawable);
            if (found == fRedirected.end()) continue;
            found->second.changed = true;
            // Reported once until cleared: clear it to hear of the next change.
            X11ErrorTrap trap(fDisplay);
            XDamageSubtract(fDisplay, found->second.damage, None, None);
        }
    }
}

} // namespace qcp::platform::x11
