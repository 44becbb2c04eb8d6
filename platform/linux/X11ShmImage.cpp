#include "X11ShmImage.h"

#include <X11/Xutil.h>

#include "X11ErrorTrap.h"

namespace qcp::platform::x11 {

bool X11ShmImage::Available(Display* display) {
    int major = 0, minor = 0;
    Bool pixmaps = False;
    return XShmQueryExtension(display) && XShmQueryVersion(display, &major, &minor, &pixmaps);
}

std::unique_ptr<X11ShmImage> X11ShmImage::Attach(const X11Connection& connection, int shmid, uint8_t* data,
                                                 uint32_t width, uint32_t height, Visual* visual,
                                                 unsigned depth) {
    Display* display = connection.display();
    const int screen = DefaultScreen(display);
    if (!visual) {
        visual = DefaultVisual(display, screen);
        depth = unsigned(DefaultDepth(display, screen));
    }
    XImage* image = XShmCreateImage(display, visual, depth, ZPixmap, nullptr, nullptr, width, height);
    if (!image) return nullptr;
    std::unique_ptr<X11ShmImage> shm(new X11ShmImage(connection, image));
    if (image->bits_per_pixel != 32 || uint32_t(image->bytes_per_line) != width * 4) {
        shm->fSegment.shmaddr = nullptr; // nothing attached
        return nullptr;
    }
    shm->fSegment.shmid = shmid;
    shm->fSegment.shmaddr = reinterpret_cast<char*>(data);
    shm->fSegment.readOnly = False;
    image->data = shm->fSegment.shmaddr;
    image->obdata = reinterpret_cast<char*>(&shm->fSegment);
    X11ErrorTrap trap(display);
    if (!XShmAttach(display, &shm->fSegment) || trap.Sync() != Success) {
        shm->fSegment.shmaddr = nullptr;
        return nullptr;
    }
    return shm;
}

X11ShmImage::~X11ShmImage() {
    if (fSegment.shmaddr && fConnection.usable()) {
        X11ErrorTrap trap(fDisplay);
        XShmDetach(fDisplay, &fSegment);
    }
    fImage->data = nullptr; // not Xlib's to free
    XDestroyImage(fImage);
}

bool X11ShmImage::Read(Drawable drawable, int x, int y) {
    X11ErrorTrap trap(fDisplay);
    return XShmGetImage(fDisplay, drawable, fImage, x, y, AllPlanes) && trap.Sync() == Success;
}

} // namespace qcp::platform::x11
