#include "X11Platform.h"

#include <cassert>
#include <cstdlib>

#include "ShmSurfaceMemory.h"
#include "X11Factory.h"
#include "X11DisplayLink.h"
#include "X11DisplayStream.h"
#include "X11WindowFrames.h"
#if QCP_HAVE_GTK
#include "GtkLoop.h"
#include "GtkRegionOverlay.h"
#include "GtkSelectionWindow.h"
#endif

namespace qcp::platform::x11 {
namespace {

#if defined(__SANITIZE_THREAD__)
constexpr bool kUnderThreadSanitizer = true;
#elif defined(__has_feature)
constexpr bool kUnderThreadSanitizer = __has_feature(thread_sanitizer);
#else
constexpr bool kUnderThreadSanitizer = false;
#endif

std::unique_ptr<gtk::GtkLoop> MakeGtkLoop(const std::string& displayName) {
#if QCP_HAVE_GTK
    if (!kUnderThreadSanitizer && !displayName.empty()) return std::make_unique<gtk::GtkLoop>();
#endif
    (void)displayName;
    return nullptr;
}

} // namespace

X11Platform::X11Platform(const std::string& displayName) : fGtk(MakeGtkLoop(displayName)), fServer(displayName) {
    fScreens.list();
}

X11Platform::~X11Platform() = default;

std::unique_ptr<DisplayStream> X11Platform::createDisplayStream(DisplayStreamConfig config) {
    assert(config.queue && config.handler && config.outputWidth > 0 && config.outputHeight > 0);
    assert(!config.sourceRect || (config.sourceRect->width > 0 && config.sourceRect->height > 0));
    const std::optional<ScreenInfo> screen = fScreens.screen(config.displayID);
    if (!screen) return nullptr;
    std::unique_ptr<X11Connection> connection = fServer.Connect(X11Server::Reconnect::NotWhileLost);
    if (!connection) return nullptr;
    return X11DisplayStream::Create(std::move(connection), std::move(config), screen->refreshRate);
}

std::unique_ptr<DisplayLink> X11Platform::createDisplayLink(uint32_t displayID, DisplayLinkCallback callback) {
    assert(callback);
    const std::optional<ScreenInfo> screen = fScreens.screen(displayID);
    if (!screen) return nullptr;
    const uint64_t generation = fServer.state()->generation();
    if (!fServer.state()->Current(generation)) return nullptr; // lost just now
    return std::make_unique<X11DisplayLink>(screen->refreshRate, std::move(callback), fServer.state(), generation);
}

Surface* X11Platform::createSurface(const SurfaceProperties& properties) { return CreateShmSurface(properties); }

std::unique_ptr<WindowFrames> X11Platform::createWindowFrames(uint32_t number) {
    if (!fWindowServer.ReadsFrames()) return nullptr;
    return std::make_unique<X11WindowFrames>(fWindowServer, number);
}

std::unique_ptr<SelectionWindowView> X11Platform::createSelectionWindow(SelectionWindowInput& input) {
#if QCP_HAVE_GTK
    if (fGtk) return std::make_unique<gtk::GtkSelectionWindow>(*fGtk, input);
#endif
    (void)input;
    return nullptr;
}

std::unique_ptr<RegionOverlayView> X11Platform::createRegionOverlay(RegionOverlayInput& input) {
#if QCP_HAVE_GTK
    if (fGtk) return std::make_unique<gtk::GtkRegionOverlay>(*fGtk, input, fSystem.resourceFolder());
#endif
    (void)input;
    return nullptr;
}

std::unique_ptr<Platform> MakePlatform() {
    const char* display = std::getenv("DISPLAY");
    return std::make_unique<X11Platform>(display && *display ? display : "");
}

} // namespace qcp::platform::x11
