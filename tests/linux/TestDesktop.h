#pragma once
// GoogleTest before Xlib, whose None and Bool macros it would trip over.
#include <gtest/gtest.h>

#include <X11/Xlib.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Platform.h"
#include "XvfbSession.h"

// The test's own X client on the session's server: it opens windows filled
// with a colour, and asks the window manager to minimise, raise or move them,
// waiting each time until the window manager has done it.
class TestDesktop {
public:
    struct Options {
        std::optional<std::string> title;      // _NET_WM_NAME; none: no title at all
        std::optional<std::string> legacyName; // WM_NAME as Latin-1 STRING
        long pid = 0;                          // _NET_WM_PID; 0: not set
        std::string windowClass = "QcpTest";   // class part of WM_CLASS

        Options& Title(std::string text) {
            title = std::move(text);
            return *this;
        }
        Options& LegacyName(std::string text) {
            legacyName = std::move(text);
            return *this;
        }
        Options& Pid(long value) {
            pid = value;
            return *this;
        }
        Options& Class(std::string name) {
            windowClass = std::move(name);
            return *this;
        }
    };
    static Options Titled(std::string title) { return Options().Title(std::move(title)); }
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
    void Activate(Window window);
    void MoveToDesktop(Window window, long desktop);

    // The window manager's frame holding a client (the root's child).
    Window FrameOf(Window window) const;
    // Where the client area is, and the frame holding it, as the server says.
    Area ClientArea(Window window) const;
    Area FrameArea(Window window) const;
    // The front-to-back client list as the window manager publishes it.
    std::vector<Window> Stacking() const;

    // Polls `condition` until it holds or `limit` passes; false then.
    static bool WaitUntil(const std::function<bool()>& condition,
                          std::chrono::milliseconds limit = std::chrono::seconds(10));

private:
    void SendToWindowManager(Window window, const char* message, long a, long b = 0, long c = 0);
    long WmState(Window window) const;

    Display* fDisplay = nullptr;
};

// A suite with its own Xvfb and openbox, started once for the suite, and an
// X11 platform made afresh for every test. Tests are skipped when Xvfb or
// openbox is missing.
class LinuxDesktopTest : public ::testing::Test {
public:
    static void SetUpTestSuite() { StartSession({}); }
    static void TearDownTestSuite();

protected:
    static void StartSession(const std::vector<std::string>& extraArguments);
    void SetUp() override;

    static inline std::unique_ptr<XvfbSession> session;
    static inline std::string unavailable;
    std::unique_ptr<TestDesktop> desktop;
    std::unique_ptr<qcp::platform::Platform> platform;
};

// How many threads of this process bear `name`.
int ThreadsNamed(const std::string& name);

// Bytes of one B, G, R, A pixel.
struct Pixel {
    uint8_t b = 0, g = 0, r = 0, a = 0;
    friend bool operator==(const Pixel&, const Pixel&) = default;
};
inline Pixel Opaque(uint32_t rgb) { return {uint8_t(rgb), uint8_t(rgb >> 8), uint8_t(rgb >> 16), 255}; }
Pixel PixelAt(const uint8_t* base, size_t bytesPerRow, int x, int y);
std::ostream& operator<<(std::ostream& out, const Pixel& pixel);
