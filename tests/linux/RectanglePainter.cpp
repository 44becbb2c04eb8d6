#include "RectanglePainter.h"

#include <random>

RectanglePainter::RectanglePainter(const std::string& display, Window window, int width, int height,
                                   Options options)
    : fThread([=, this] { Paint(display, window, width, height, options); }) {}

RectanglePainter::~RectanglePainter() {
    fPainting = false;
    fThread.join();
}

void RectanglePainter::Paint(const std::string& display, Window window, int width, int height, Options options) {
    Display* own = XOpenDisplay(display.c_str());
    if (!own) return;
    GC gc = XCreateGC(own, window, 0, nullptr);
    std::mt19937 random(11);
    for (int i = 1; fPainting; ++i) {
        XSetForeground(own, gc, random() & 0xFFFFFF);
        XFillRectangle(own, window, gc, int(random() % unsigned(width - 40)), int(random() % unsigned(height - 40)),
                       8 + random() % 32, 8 + random() % 32);
        if (i % options.burst != 0) continue;
        if (options.movePointer)
            XWarpPointer(own, None, window, 0, 0, 0, 0, int(random() % unsigned(width)),
                         int(random() % unsigned(height)));
        XSync(own, False);
        std::this_thread::sleep_for(options.pause);
    }
    XFreeGC(own, gc);
    XCloseDisplay(own);
}
