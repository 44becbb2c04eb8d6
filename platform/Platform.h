#pragma once
#include <cstdint>
#include <memory>
#include <string_view>

#include "Compositor.h"
#include "Cursor.h"
#include "DisplayLink.h"
#include "DisplayStream.h"
#include "Screens.h"
#include "Surface.h"
#include "System.h"
#include "WindowServer.h"

// The operating system as the portable core sees it. One platform is
// installed per process; every seam is reached through it. The core includes
// only these interfaces, never an implementation.
namespace qcp::platform {

class Platform {
public:
    virtual ~Platform() = default;
    // "sim", "linux" or "mac".
    virtual std::string_view Name() const = 0;

    virtual Screens& screens() = 0;
    virtual WindowServer& windowServer() = 0;
    virtual Cursor& cursor() = 0;
    virtual Compositor& compositor() = 0;
    virtual System& system() = 0;

    // Null when the display is unknown or the stream cannot be made.
    virtual std::unique_ptr<DisplayStream> createDisplayStream(DisplayStreamConfig config) = 0;
    // Null when the display is unknown.
    virtual std::unique_ptr<DisplayLink> createDisplayLink(uint32_t displayID, DisplayLinkCallback callback) = 0;
    // A new surface (retained for the caller), or null. Platforms that share
    // surfaces with other processes back them with shared memory.
    virtual Surface* createSurface(const SurfaceProperties& properties) { return Surface::Create(properties); }
};

// The installed platform, or null before one is installed.
Platform* Current();
// Installs `platform`, replacing (and destroying) any installed one. Called
// while no capture is running: at library initialisation or by a test.
void Install(std::unique_ptr<Platform> platform);

} // namespace qcp::platform
