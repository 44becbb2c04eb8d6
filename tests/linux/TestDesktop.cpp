#include "TestDesktop.h"

#include <X11/Xatom.h>
#include <X11/Xutil.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ostream>
#include <thread>

#include "X11Factory.h"

namespace {

std::vector<unsigned long> ReadLongs(Display* display, Window window, const char* name, Atom type) {
    Atom actualType = None;
    int format = 0;
    unsigned long count = 0, remaining = 0;
    unsigned char* data = nullptr;
    std::vector<unsigned long> values;
    if (XGetWindowProperty(display, window, XInternAtom(display, name, False), 0, 4096, False, type, &actualType,
                           &format, &count, &remaining, &data) == Success &&
        data && format == 32) {
        const auto* items = reinterpret_cast<const unsigned long*>(data);
        values.assign(items, items + count);
    }
    if (data) XFree(data);
    return values;
}

} // namespace

TestDesktop::TestDesktop(const std::string& display) : fDisplay(XOpenDisplay(display.c_str())) {}

TestDesktop::~TestDesktop() {
    if (!fDisplay) return;
    // The next test's client gets the same window ids: the window manager
    // must be done with these first, or it takes a new window for the old
    // one and gives it the old one's place.
    // Only windows it manages: any other may be gone, and destroying it
    // would be an error that ends the process.
    const auto managed = [&] {
        const std::vector<Window> stacking = Stacking();
        std::vector<Window> windows;
        for (const Window window : fOpened)
            if (std::find(stacking.begin(), stacking.end(), window) != stacking.end()) windows.push_back(window);
        return windows;
    };
    for (const Window window : managed()) XDestroyWindow(fDisplay, window);
    XSync(fDisplay, False);
    WaitUntil([&] { return managed().empty(); });
    XCloseDisplay(fDisplay);
}

Window TestDesktop::Open(const Options& options, uint32_t rgb, int x, int y, int width, int height) {
    XSetWindowAttributes attributes{};
    attributes.background_pixel = rgb;
    attributes.border_pixel = 0;
    const Window window = XCreateWindow(fDisplay, root(), x, y, unsigned(width), unsigned(height), 0, CopyFromParent,
                                        InputOutput, CopyFromParent, CWBackPixel | CWBorderPixel, &attributes);
    XSizeHints hints{};
    hints.flags = USPosition | USSize;
    hints.x = x;
    hints.y = y;
    hints.width = width;
    hints.height = height;
    XSetWMNormalHints(fDisplay, window, &hints);
    XChangeProperty(fDisplay, window, XInternAtom(fDisplay, "_NET_WM_NAME", False),
                    XInternAtom(fDisplay, "UTF8_STRING", False), 8, PropModeReplace,
                    reinterpret_cast<const unsigned char*>(options.title.data()), int(options.title.size()));
    if (options.pid != 0)
        XChangeProperty(fDisplay, window, XInternAtom(fDisplay, "_NET_WM_PID", False), XA_CARDINAL, 32, PropModeReplace,
                        reinterpret_cast<const unsigned char*>(&options.pid), 1);
    if (!options.clientMachine.empty())
        XChangeProperty(fDisplay, window, XA_WM_CLIENT_MACHINE, XA_STRING, 8, PropModeReplace,
                        reinterpret_cast<const unsigned char*>(options.clientMachine.data()),
                        int(options.clientMachine.size()));
    XClassHint classHint{const_cast<char*>("qcptest"), const_cast<char*>(options.windowClass.c_str())};
    XSetClassHint(fDisplay, window, &classHint);
    XMapWindow(fDisplay, window);
    XSync(fDisplay, False);
    fOpened.push_back(window);
    // Framed, and settled: openbox announces the frame's extents before it
    // has finished placing the frame around the client.
    const bool framed = WaitUntil([&] {
        XWindowAttributes state{};
        const std::vector<Window> stacking = Stacking();
        const std::vector<unsigned long> extents = ReadLongs(fDisplay, window, "_NET_FRAME_EXTENTS", XA_CARDINAL);
        if (extents.size() != 4 || std::find(stacking.begin(), stacking.end(), window) == stacking.end() ||
            !XGetWindowAttributes(fDisplay, window, &state) || state.map_state != IsViewable)
            return false;
        const int left = int(extents[0]), right = int(extents[1]), top = int(extents[2]), bottom = int(extents[3]);
        const Area client = ClientArea(window), frame = FrameArea(window);
        return frame.x == client.x - left && frame.y == client.y - top && frame.width == client.width + left + right &&
               frame.height == client.height + top + bottom;
    });
    return framed ? window : None;
}

void TestDesktop::Paint(Window window, uint32_t rgb) {
    XSetWindowBackground(fDisplay, window, rgb);
    XClearWindow(fDisplay, window);
    XSync(fDisplay, False);
}

void TestDesktop::Close(Window window) {
    fOpened.erase(std::remove(fOpened.begin(), fOpened.end(), window), fOpened.end());
    XDestroyWindow(fDisplay, window);
    XSync(fDisplay, False);
    WaitUntil([&] {
        const std::vector<Window> stacking = Stacking();
        return std::find(stacking.begin(), stacking.end(), window) == stacking.end();
    });
}

void TestDesktop::Minimise(Window window) {
    XIconifyWindow(fDisplay, window, DefaultScreen(fDisplay));
    XSync(fDisplay, False);
    const Atom wmState = XInternAtom(fDisplay, "WM_STATE", False);
    WaitUntil([&] {
        const std::vector<unsigned long> state = ReadLongs(fDisplay, window, "WM_STATE", wmState);
        return !state.empty() && state.front() == IconicState;
    });
}

TestDesktop::Area TestDesktop::ClientArea(Window window) const {
    XWindowAttributes attributes{};
    XGetWindowAttributes(fDisplay, window, &attributes);
    int x = 0, y = 0;
    Window child = None;
    XTranslateCoordinates(fDisplay, window, root(), 0, 0, &x, &y, &child);
    return {x, y, attributes.width, attributes.height};
}

TestDesktop::Area TestDesktop::FrameArea(Window window) const {
    for (;;) { // up to the window manager's frame, the root's child
        Window rootReturn = None, parent = None;
        Window* children = nullptr;
        unsigned count = 0;
        XQueryTree(fDisplay, window, &rootReturn, &parent, &children, &count);
        if (children) XFree(children);
        if (parent == rootReturn) break;
        window = parent;
    }
    XWindowAttributes attributes{};
    XGetWindowAttributes(fDisplay, window, &attributes);
    return {attributes.x, attributes.y, attributes.width + 2 * attributes.border_width,
            attributes.height + 2 * attributes.border_width};
}

std::vector<Window> TestDesktop::Stacking() const {
    const std::vector<unsigned long> bottomToTop = ReadLongs(fDisplay, root(), "_NET_CLIENT_LIST_STACKING", XA_WINDOW);
    return {bottomToTop.rbegin(), bottomToTop.rend()};
}

bool TestDesktop::WaitUntil(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

void LinuxDesktopTest::SetUp() {
    if (!session) GTEST_SKIP() << unavailable;
    desktop = std::make_unique<TestDesktop>(session->display());
    ASSERT_TRUE(desktop->display());
    platform = qcp::platform::x11::MakePlatform();
    ASSERT_FALSE(platform->screens().list().empty());
}

std::unique_ptr<qcp::platform::x11::X11Connection> OpenConnection(const std::string& display, std::string& error) {
    auto state = std::make_shared<qcp::platform::x11::X11ServerState>();
    const uint64_t generation = state->Restore();
    return qcp::platform::x11::X11Connection::Open(display, std::move(state), generation, error);
}

Pixel PixelAt(const uint8_t* base, size_t bytesPerRow, int x, int y) {
    const uint8_t* p = base + size_t(y) * bytesPerRow + size_t(x) * 4;
    return {p[0], p[1], p[2], p[3]};
}

Pixel PixelAt(const qcp::platform::Image& image, int x, int y) {
    Pixel pixel = PixelAt(image.pixels(), image.bytesPerRow(), x, y);
    if (image.alpha() == qcp::platform::ImageAlpha::Padding) pixel.a = 255;
    return pixel;
}

std::ostream& operator<<(std::ostream& out, const Pixel& pixel) {
    return out << "(b " << int(pixel.b) << ", g " << int(pixel.g) << ", r " << int(pixel.r) << ", a " << int(pixel.a)
               << ")";
}

Pixel RootPixel(Display* display, int x, int y) {
    XImage* image = XGetImage(display, DefaultRootWindow(display), x, y, 1, 1, AllPlanes, ZPixmap);
    if (!image) return {};
    const unsigned long pixel = XGetPixel(image, 0, 0);
    XDestroyImage(image);
    return Opaque(uint32_t(pixel & 0xFFFFFF));
}

std::string AwaitVisibleWindow(const std::string& match) {
    std::string id;
    TestDesktop::WaitUntil(
        [&] {
            FILE* pipe = popen(("xdotool search --onlyvisible " + match + " 2>/dev/null").c_str(), "r");
            if (!pipe) return false;
            char buffer[64] = {};
            if (std::fgets(buffer, sizeof buffer, pipe)) id = buffer;
            pclose(pipe);
            id = id.substr(0, id.find('\n'));
            return !id.empty();
        },
        std::chrono::seconds(20));
    if (!id.empty()) std::system(("xdotool windowactivate --sync " + id + " 2>/dev/null").c_str());
    return id;
}
