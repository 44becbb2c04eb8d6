#pragma once
#include <X11/Xlib.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

// A client whose window keeps changing in many small places: random small
// rectangles painted into `window` (`width` x `height`) from an X connection
// and a thread of its own, until the painter goes. After every `burst`
// rectangles it waits for the server and pauses, first moving the pointer
// over the window when asked.
class RectanglePainter {
public:
    struct Options {
        int burst = 8;
        std::chrono::milliseconds pause{2};
        bool movePointer = false;
    };

    RectanglePainter(const std::string& display, Window window, int width, int height, Options options);
    ~RectanglePainter();
    RectanglePainter(const RectanglePainter&) = delete;
    RectanglePainter& operator=(const RectanglePainter&) = delete;

private:
    void Paint(const std::string& display, Window window, int width, int height, Options options);

    std::atomic<bool> fPainting{true};
    std::thread fThread;
};
