// x-animate: an X client whose window changes every frame (a bar sweeping
// across stripes at a steady rate), so that screen capture always has new
// content. Used by the demo and the capture benchmark.
#include <X11/Xlib.h>
#include <X11/Xatom.h>
#include <X11/Xutil.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

int main(int argc, char** argv) {
    int width = 800, height = 600, x = 100, y = 100;
    double rate = 60;
    std::string title = "Animation";
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string flag = argv[i];
        if (flag == "--geometry") std::sscanf(argv[i + 1], "%dx%d+%d+%d", &width, &height, &x, &y);
        else if (flag == "--rate") rate = std::atof(argv[i + 1]);
        else if (flag == "--title") title = argv[i + 1];
    }
    Display* display = XOpenDisplay(nullptr);
    if (!display) {
        std::fprintf(stderr, "x-animate: cannot open the X display\n");
        return 1;
    }
    const int screen = DefaultScreen(display);
    Window window = XCreateSimpleWindow(display, RootWindow(display, screen), x, y, unsigned(width),
                                        unsigned(height), 0, BlackPixel(display, screen), WhitePixel(display, screen));
    XStoreName(display, window, title.c_str());
    const Atom utf8 = XInternAtom(display, "UTF8_STRING", False);
    XChangeProperty(display, window, XInternAtom(display, "_NET_WM_NAME", False), utf8, 8, PropModeReplace,
                    reinterpret_cast<const unsigned char*>(title.data()), int(title.size()));
    const long pid = getpid();
    XChangeProperty(display, window, XInternAtom(display, "_NET_WM_PID", False), XA_CARDINAL, 32, PropModeReplace,
                    reinterpret_cast<const unsigned char*>(&pid), 1);
    XClassHint hint{const_cast<char*>("x-animate"), const_cast<char*>("XAnimate")};
    XSetClassHint(display, window, &hint);
    XMapWindow(display, window);
    GC gc = XCreateGC(display, window, 0, nullptr);

    const auto period = std::chrono::duration<double>(1.0 / rate);
    auto next = std::chrono::steady_clock::now();
    for (unsigned frame = 0;; ++frame) {
        while (XPending(display)) {
            XEvent event;
            XNextEvent(display, &event);
        }
        for (int stripe = 0; stripe < 8; ++stripe) {
            XSetForeground(display, gc, 0x203040u + stripe * 0x101818u);
            XFillRectangle(display, window, gc, 0, stripe * height / 8, unsigned(width), unsigned(height / 8 + 1));
        }
        XSetForeground(display, gc, 0xF0C020u);
        XFillRectangle(display, window, gc, int(frame * 7 % unsigned(width)), 0, 40, unsigned(height));
        XFlush(display);
        next += std::chrono::duration_cast<std::chrono::steady_clock::duration>(period);
        std::this_thread::sleep_until(next);
    }
}
