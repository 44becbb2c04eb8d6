// The desktop that `QCP_PLATFORM=sim` shows when nothing else sets one up.
#include "SimWorld.h"

namespace qcp::platform::sim {

void SimWorld::PopulateDefault(SimWorld& world) {
    world.AddScreen({1, {0, 0, 1920, 1080}, 1.0, "Simulated Display 27", 60});
    world.AddScreen({2, {1920, 56, 1280, 1024}, 1.0, "Simulated Display 19", 60});

    constexpr int32_t kWindowServer = 88, kDock = 310, kNotes = 4242, kTerminal = 4300, kBrowser = 4400, kRacer = 4500;
    world.AddProcess(kWindowServer, "Window Server");
    world.AddProcess(kDock, "Dock");
    world.AddProcess(kNotes, "Notes");
    world.AddProcess(kTerminal, "Terminal");
    world.AddProcess(kBrowser, "Browser");
    world.AddProcess(kRacer, "Racer");
    world.AddProcess(world.OwnPID(), "Host");

    // Back to front: each new window opens in front of the earlier ones.
    const uint32_t game = world.OpenWindow(kRacer, "Racer", {0, 0, 1920, 1080});
    world.SetWindowSpace(game, 2); // full screen, on its own Space
    world.OpenWindow(kBrowser, "Welcome", {2100, 200, 900, 700});
    world.OpenWindow(kNotes, "Ideas", {160, 180, 520, 400});
    world.OpenWindow(kNotes, "Shopping list", {120, 140, 640, 480});
    const uint32_t build = world.OpenWindow(kTerminal, "build", {900, 300, 800, 500});
    world.AnimateWindow(build, 30);
    world.OpenWindow(world.OwnPID(), "Host Window", {300, 600, 500, 300});
    world.OpenWindow(kDock, std::nullopt, {0, 1010, 1920, 70});
    world.OpenWindow(kWindowServer, "Menubar", {0, 0, 1920, 25});
    world.SetMouse({960, 540});
}

} // namespace qcp::platform::sim
