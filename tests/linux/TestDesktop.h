#pragma once
// GoogleTest before Xlib, whose None and Bool macros it would trip over.
#include <gtest/gtest.h>

#include <X11/Xlib.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Platform.h"
#include "X11Connection.h"
#include "XvfbSession.h"

// The test's own X client on the session's server: it opens windows filled
// with a colour and asks the window manager to minimise them, waiting each
// time until the window manager has done it.
class TestDesktop {
public:
    struct Options {
        std::string title;                   // _NET_WM_NAME
        long pid = 0;                        // _NET_WM_PID; 0: not set
        std::string windowClass = "QcpTest"; // class part of WM_CLASS
        std::string clientMachine = {};      // WM_CLIENT_MACHINE; empty: not set
    };
    // A client rectangle in root pixels.
    struct Area {
        int x = 0, y = 0, width = 0, height = 0;
    };

    explicit TestDesktop(const std::string& display);
    ~TestDesktop();

    Display* display() const { return fDisplay; }
    Window root() const { return DefaultRootWindow(fDisplay); }

    // A window whose background is `rgb` (0xRRGGBB), its frame's top-left put
    // at (x, y), mapped and framed by the window manager. None on failure.
    Window Open(const Options& options, uint32_t rgb, int x, int y, int width, int height);
    void Paint(Window window, uint32_t rgb);
    void Close(Window window);
    void Minimise(Window window);

    // Where the client area is, and the frame holding it, as the server says.
    Area ClientArea(Window window) const;
    Area FrameArea(Window window) const;
    // The front-to-back client list as the window manager publishes it.
    std::vector<Window> Stacking() const;

    // Polls `condition` until it holds or `limit` passes; false then.
    static bool WaitUntil(const std::function<bool()>& condition,
                          std::chrono::milliseconds limit = std::chrono::seconds(10));

private:
    Display* fDisplay = nullptr;
    std::vector<Window> fOpened; // destroyed when the desktop goes
};

// A suite with its own Xvfb and openbox, started once for the suite, and an
// X11 platform made afresh for every test. Tests are skipped when Xvfb or
// openbox is missing.
class LinuxDesktopTest : public ::testing::Test {
public:
    static void SetUpTestSuite() { StartSession({}); }
    static void TearDownTestSuite() { session.reset(); }

protected:
    static void StartSession(const std::vector<std::string>& extraArguments) {
        session = XvfbSession::Start(extraArguments, unavailable);
    }
    void SetUp() override;

    static inline std::unique_ptr<XvfbSession> session;
    static inline std::string unavailable;
    std::unique_ptr<TestDesktop> desktop;
    std::unique_ptr<qcp::platform::Platform> platform;
};

// A connection of the platform's kind to `display`, outside any platform.
std::unique_ptr<qcp::platform::x11::X11Connection> OpenConnection(const std::string& display, std::string& error);

// Bytes of one B, G, R, A pixel.
struct Pixel {
    uint8_t b = 0, g = 0, r = 0, a = 0;
    friend bool operator==(const Pixel&, const Pixel&) = default;
};
inline Pixel Opaque(uint32_t rgb) { return {uint8_t(rgb), uint8_t(rgb >> 8), uint8_t(rgb >> 16), 255}; }
Pixel PixelAt(const uint8_t* base, size_t bytesPerRow, int x, int y);
// A picture's pixel as drawn: opaque where the picture has no alpha channel.
Pixel PixelAt(const qcp::platform::Image& image, int x, int y);
// The id of a visible window that `xdotool search` finds with `match` (its
// options, e.g. "--name '^Title$'"), once one shows, made the active
// window; empty when none shows within 20 seconds. xdotool dies of a window
// destroyed while it looks, so it is asked again until then.
std::string AwaitVisibleWindow(const std::string& match);

// What the screen shows at (x, y) of the root window, opaque; all zero when
// it cannot be read.
Pixel RootPixel(Display* display, int x, int y);
std::ostream& operator<<(std::ostream& out, const Pixel& pixel);
