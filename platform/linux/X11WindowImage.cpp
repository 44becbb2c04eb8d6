#include "X11WindowImage.h"

#include <X11/Xutil.h>
#include <X11/extensions/Xcomposite.h>
#include <X11/extensions/Xdamage.h>

#include <algorithm>
#include <cstring>
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
// A capture's frames: the one it holds, one a host holds or two, one to
// read into.
constexpr size_t kFramePoolSize = 4;
} // namespace

ImageRef X11WindowImage::Read(Drawable drawable, const Area& area, ImageAlpha alpha, Visual* visual, int depth) {
    if (SharedPicture* shared = FreeShared(area, alpha, visual, depth))
        if (shared->image->Read(drawable, area.x, area.y)) return shared->picture;
    X11ErrorTrap trap(fDisplay);
    XImage* image =
        XGetImage(fDisplay, drawable, area.x, area.y, unsigned(area.width), unsigned(area.height), AllPlanes, ZPixmap);
    if (!image) return nullptr;
    ImageRef picture;
    if (trap.Sync() == Success && image->bits_per_pixel == 32) {
        const size_t rowBytes = size_t(area.width) * 4;
        std::vector<uint8_t> pixels(rowBytes * size_t(area.height));
        for (int y = 0; y < area.height; ++y)
            std::memcpy(pixels.data() + rowBytes * size_t(y), image->data + size_t(image->bytes_per_line) * size_t(y),
                        rowBytes);
        picture = std::make_shared<Image>(uint32_t(area.width), uint32_t(area.height), uint32_t(rowBytes),
                                          std::move(pixels), alpha);
    }
    XDestroyImage(image);
    return picture;
}

X11WindowImage::SharedPicture* X11WindowImage::FreeShared(const Area& area, ImageAlpha alpha, Visual* visual,
                                                          int depth) {
    if (!fShm) return nullptr;
    const auto free = [](const std::unique_ptr<SharedPicture>& shared) { return shared->picture.use_count() == 1; };
    for (const std::unique_ptr<SharedPicture>& shared : fShared)
        if (free(shared) && shared->width == area.width && shared->height == area.height && shared->depth == depth &&
            shared->visual == visual && shared->picture->alpha() == alpha)
            return shared.get();
    // A full pool gives way to the newest size: its free pictures go first.
    auto slot = fShared.end();
    if (fShared.size() == kPoolSize && (slot = std::find_if(fShared.begin(), fShared.end(), free)) == fShared.end())
        return nullptr;
    auto made = std::make_unique<SharedPicture>();
    made->memory = ShmSurfaceMemory::Create(size_t(area.width) * 4 * size_t(area.height));
    if (!made->memory) return nullptr;
    made->image = X11ShmImage::Attach(fConnection, made->memory->shmid(), made->memory->data(), uint32_t(area.width),
                                      uint32_t(area.height), visual, unsigned(depth));
    if (!made->image) return nullptr;
    made->width = area.width;
    made->height = area.height;
    made->depth = depth;
    made->visual = visual;
    made->picture = std::make_shared<Image>(uint32_t(area.width), uint32_t(area.height), made->image->bytesPerRow(),
                                            made->image->data(), made->memory, alpha);
    SharedPicture* const result = made.get();
    if (slot == fShared.end()) fShared.push_back(std::move(made));
    else *slot = std::move(made);
    return result;
}

X11WindowImage::X11WindowImage(const X11Connection& connection)
    : fConnection(connection), fDisplay(connection.display()), fRoot(DefaultRootWindow(fDisplay)),
      fShm(X11ShmImage::Available(fDisplay)),
      fOpaqueFormat(fShm ? X11OpaqueCopy::ImageFormat(fDisplay) : std::nullopt) {
    Display* display = fDisplay;
    int eventBase = 0, errorBase = 0, major = 0, minor = 0;
    // Naming a window's pixmap came with version 0.2.
    fComposite = XCompositeQueryExtension(display, &eventBase, &errorBase) &&
                 XCompositeQueryVersion(display, &major, &minor) && (major > 0 || minor >= 2);
    if (XDamageQueryExtension(display, &eventBase, &errorBase) && XDamageQueryVersion(display, &major, &minor))
        fDamageEventBase = eventBase;
}

ImageRef X11WindowImage::Capture(const X11WindowPlace& place) {
    const std::optional<Wanted> wanted = WantedOf(place);
    if (!wanted) return nullptr;
    // Without an alpha channel the fourth byte is whatever the server left.
    const ImageAlpha alpha = place.depth == 32 ? ImageAlpha::Premultiplied : ImageAlpha::Padding;
    if (fComposite) {
        Redirected& redirected = Redirect(place.frame);
        const Area& read = wanted->inFrame;
        if (redirected.image && redirected.read == read && Unchanged(redirected, redirected.imageChanges))
            return redirected.image;
        // Changes from here on are told by events still to come.
        const uint64_t changes = redirected.changes;
        const Pixmap pixmap = PixmapOf(place.frame, redirected);
        ImageRef image = pixmap != None ? Read(pixmap, read, alpha, place.visual, place.depth) : nullptr;
        redirected.read = read;
        redirected.image = image;
        redirected.imageChanges = changes;
        if (image) return image;
    }
    const Area onScreen = OnScreen(wanted->onRoot);
    return onScreen.Empty() ? nullptr : Read(fRoot, onScreen, ImageAlpha::Padding, nullptr, 0);
}

WindowFrame X11WindowImage::CaptureFrame(const X11WindowPlace& place, uint64_t id) {
    FrameReader& reader = fReaders[id];
    const std::optional<Wanted> wanted = WantedOf(place);
    if (!fOpaqueFormat || !wanted) return {};
    if (fComposite) {
        Redirected& redirected = Redirect(place.frame);
        const Area& read = wanted->inFrame;
        if (reader.last && reader.frame == place.frame && reader.read == read &&
            Unchanged(redirected, reader.changes))
            return {reader.last, false, std::nullopt};
        const uint64_t changes = redirected.changes;
        const Pixmap pixmap = PixmapOf(place.frame, redirected);
        if (pixmap != None)
            if (SurfaceRef surface = ReadFrame(reader, pixmap, place.visual, place.depth, read)) {
                reader.last = surface;
                reader.frame = place.frame;
                reader.read = read;
                reader.changes = changes;
                return {std::move(surface), true, std::nullopt};
            }
    }
    const Area onScreen = OnScreen(wanted->onRoot);
    const int screen = DefaultScreen(fDisplay);
    reader.last = onScreen.Empty() ? SurfaceRef()
                                   : ReadFrame(reader, fRoot, DefaultVisual(fDisplay, screen),
                                               DefaultDepth(fDisplay, screen), onScreen);
    reader.frame = None;
    reader.changes.reset();
    if (!reader.last) return {};
    return {reader.last, true, std::nullopt};
}

bool X11WindowImage::Unchanged(const Redirected& redirected, std::optional<uint64_t> readAt) const {
    return fDamageEventBase >= 0 && readAt == redirected.changes;
}

SurfaceRef X11WindowImage::ReadFrame(FrameReader& reader, Drawable drawable, Visual* visual, int depth,
                                     const Area& area) {
    const SurfaceProperties properties =
        SurfaceProperties::Packed(uint32_t(area.width), uint32_t(area.height), kPixelFormat32ARGB);
    if (!reader.pool || reader.pool->properties().width != properties.width ||
        reader.pool->properties().height != properties.height)
        reader.pool = std::make_unique<X11SurfacePool>(fConnection, properties, true, fOpaqueFormat, kFramePoolSize);
    X11SurfacePool::Entry* entry = reader.pool->Free();
    if (!entry || !entry->image) return {};
    SurfaceLock lock(*entry->surface);
    if (depth == 32) return entry->image->Read(drawable, area.x, area.y) ? entry->surface : SurfaceRef();
    if (!reader.opaque || reader.opaqueSource != drawable || reader.opaque->width() != area.width ||
        reader.opaque->height() != area.height) {
        reader.opaque = X11OpaqueCopy::Create(fConnection, drawable, visual, area.width, area.height);
        reader.opaqueSource = drawable;
    }
    if (!reader.opaque) return {};
    reader.opaque->Copy(area.x, area.y);
    return entry->image->Read(reader.opaque->pixmap(), 0, 0) ? entry->surface : SurfaceRef();
}

std::optional<X11WindowImage::Wanted> X11WindowImage::WantedOf(const X11WindowPlace& place) {
    if (place.frame == None || !place.frameViewable) return std::nullopt;
    // The frame's pixmap covers its border too, from the outer corner.
    const Area outer{place.frameX, place.frameY, place.frameWidth, place.frameHeight};
    const Area onRoot = Area{place.x, place.y, place.width, place.height}.Intersect(outer);
    if (onRoot.Empty()) return std::nullopt;
    return Wanted{onRoot, {onRoot.x - outer.x, onRoot.y - outer.y, onRoot.width, onRoot.height}};
}

X11WindowImage::Area X11WindowImage::OnScreen(const Area& wanted) const {
    XWindowAttributes root{};
    if (!XGetWindowAttributes(fDisplay, fRoot, &root)) return {};
    return wanted.Intersect({0, 0, root.width, root.height});
}

Pixmap X11WindowImage::PixmapOf(Window frame, Redirected& redirected) {
    if (redirected.pixmap != None) return redirected.pixmap;
    X11ErrorTrap trap(fDisplay);
    const Pixmap pixmap = XCompositeNameWindowPixmap(fDisplay, frame);
    if (trap.Sync() != Success) return None;
    redirected.pixmap = pixmap;
    return pixmap;
}

X11WindowImage::Redirected& X11WindowImage::Redirect(Window frame) {
    if (const auto found = fRedirected.find(frame); found != fRedirected.end()) return found->second;
    Redirected& redirected = fRedirected[frame];
    X11ErrorTrap trap(fDisplay);
    // Told when the frame changes size or goes, so that its pixmap is named
    // again and a later window given the same id is redirected afresh.
    XSelectInput(fDisplay, frame, X11WindowWatch::kWindowEvents);
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

void X11WindowImage::OnEvent(const XEvent& event) {
    if (fDamageEventBase >= 0 && event.type == fDamageEventBase + XDamageNotify) {
        const auto& notify = reinterpret_cast<const XDamageNotifyEvent&>(event);
        const auto found = fRedirected.find(notify.drawable);
        if (found == fRedirected.end()) return;
        ++found->second.changes;
        // Reported once until cleared: clear it to hear of the next change.
        // The caller's trap takes an error (the window gone meanwhile); one
        // of its own would wait for the server's answer.
        XDamageSubtract(fDisplay, found->second.damage, None, None);
        return;
    }
    if (event.type != DestroyNotify && event.type != ConfigureNotify && event.type != MapNotify &&
        event.type != UnmapNotify)
        return;
    const auto found = fRedirected.find(event.xany.window);
    if (found == fRedirected.end()) return;
    // A pixmap stays allocated until freed, whatever became of its window.
    if (found->second.pixmap != None) XFreePixmap(fDisplay, found->second.pixmap);
    found->second.pixmap = None;
    ++found->second.changes;
    // The server frees the frame's damage with it.
    if (event.type == DestroyNotify) fRedirected.erase(found);
}

} // namespace qcp::platform::x11
