#include "X11Platform.h"

#include <cassert>

#include "ShmSurfaceMemory.h"
#include "X11Factory.h"
#include "X11DisplayLink.h"
#include "X11DisplayStream.h"

namespace qcp::platform::x11 {

std::unique_ptr<X11Platform> X11Platform::Create(const std::string& displayName, std::string& error) {
    std::unique_ptr<X11Connection> screens = X11Connection::Open(displayName, error);
    if (!screens) return nullptr;
    // The name as Xlib resolved it, so that later connections reach the same
    // server whatever becomes of $DISPLAY.
    const std::string name = screens->name();
    std::unique_ptr<X11Connection> windows = X11Connection::Open(name, error);
    std::unique_ptr<X11Connection> cursor = windows ? X11Connection::Open(name, error) : nullptr;
    if (!cursor) return nullptr;
    return std::unique_ptr<X11Platform>(
        new X11Platform(name, std::move(screens), std::move(windows), std::move(cursor)));
}

X11Platform::X11Platform(std::string displayName, std::unique_ptr<X11Connection> screens,
                         std::unique_ptr<X11Connection> windows, std::unique_ptr<X11Connection> cursor)
    : fDisplayName(std::move(displayName)), fScreens(std::move(screens)), fWindowServer(std::move(windows)),
      fCursor(std::move(cursor)) {}

std::unique_ptr<DisplayStream> X11Platform::createDisplayStream(DisplayStreamConfig config) {
    assert(config.queue && config.handler && config.outputWidth > 0 && config.outputHeight > 0);
    assert(!config.sourceRect || (config.sourceRect->width > 0 && config.sourceRect->height > 0));
    const std::optional<ScreenInfo> screen = fScreens.screen(config.displayID);
    if (!screen) return nullptr;
    std::string error;
    std::unique_ptr<X11Connection> connection = X11Connection::Open(fDisplayName, error);
    if (!connection) return nullptr;
    return X11DisplayStream::Create(std::move(connection), std::move(config), screen->refreshRate);
}

std::unique_ptr<DisplayLink> X11Platform::createDisplayLink(uint32_t displayID, DisplayLinkCallback callback) {
    assert(callback);
    const std::optional<ScreenInfo> screen = fScreens.screen(displayID);
    if (!screen) return nullptr;
    return std::make_unique<X11DisplayLink>(screen->refreshRate, std::move(callback));
}

Surface* X11Platform::createSurface(const SurfaceProperties& properties) { return CreateShmSurface(properties); }

std::unique_ptr<Platform> MakePlatform(std::string& error) { return X11Platform::Create({}, error); }

} // namespace qcp::platform::x11
