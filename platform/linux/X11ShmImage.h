#pragma once
#include <X11/Xlib.h>
#include <X11/extensions/XShm.h>

#include <cstdint>
#include <memory>

#include "X11Connection.h"

namespace qcp::platform::x11 {

// An XImage over shared memory that the X server has attached (MIT-SHM), so
// that XShmGetImage writes pixels straight into that memory. The memory is
// not owned (a surface's or a buffer's); it must outlive the image. Lives on
// the thread that owns the connection, and must go before it closes; the
// server is told to detach only while the connection is usable.
class X11ShmImage {
public:
    // Whether the server takes shared memory from this client at all.
    static bool Available(Display* display);
    // An image of `width` x `height` pixels over `data` (at least width * 4 *
    // height bytes, rows of width * 4 bytes) in segment `shmid`, in the root
    // window's format or of `visual` and `depth` when given (it then reads
    // drawables of that depth only). Null when the server does not attach
    // the segment or the pixels are not 32 bits.
    static std::unique_ptr<X11ShmImage> Attach(const X11Connection& connection, int shmid, uint8_t* data,
                                               uint32_t width, uint32_t height, Visual* visual = nullptr,
                                               unsigned depth = 0);
    ~X11ShmImage();
    X11ShmImage(const X11ShmImage&) = delete;
    X11ShmImage& operator=(const X11ShmImage&) = delete;

    // Reads the part of `drawable` at (x, y) of the image's size. False when
    // the server refuses (the part is not wholly on the drawable).
    bool Read(Drawable drawable, int x, int y);
    const uint8_t* data() const { return reinterpret_cast<const uint8_t*>(fImage->data); }
    uint32_t bytesPerRow() const { return uint32_t(fImage->bytes_per_line); }

private:
    X11ShmImage(const X11Connection& connection, XImage* image)
        : fConnection(connection), fDisplay(connection.display()), fImage(image) {}

    const X11Connection& fConnection;
    Display* const fDisplay;
    XImage* const fImage;
    XShmSegmentInfo fSegment{};
};

} // namespace qcp::platform::x11
