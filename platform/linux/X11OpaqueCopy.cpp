#include "X11OpaqueCopy.h"

#include <X11/Xutil.h>

#include "X11ErrorTrap.h"

namespace qcp::platform::x11 {

std::optional<X11OpaqueCopy::Format> X11OpaqueCopy::ImageFormat(Display* display) {
    int eventBase = 0, errorBase = 0;
    if (!XRenderQueryExtension(display, &eventBase, &errorBase)) return std::nullopt;
    XVisualInfo info{};
    if (!XMatchVisualInfo(display, DefaultScreen(display), 32, TrueColor, &info)) return std::nullopt;
    // Only the layout the grabber hands on as it is: B, G, R, A bytes.
    if (info.red_mask != 0xFF0000 || info.green_mask != 0xFF00 || info.blue_mask != 0xFF ||
        ImageByteOrder(display) != LSBFirst)
        return std::nullopt;
    return Format{info.visual, 32};
}

std::unique_ptr<X11OpaqueCopy> X11OpaqueCopy::Create(const X11Connection& connection, Drawable source,
                                                     Visual* visual, int width, int height) {
    Display* display = connection.display();
    if (width <= 0 || height <= 0 || !visual || !ImageFormat(display)) return nullptr;
    XRenderPictFormat* sourceFormat = XRenderFindVisualFormat(display, visual);
    XRenderPictFormat* argb = XRenderFindStandardFormat(display, PictStandardARGB32);
    if (!sourceFormat || !argb) return nullptr;
    std::unique_ptr<X11OpaqueCopy> copy(new X11OpaqueCopy(connection, width, height));
    X11ErrorTrap trap(display);
    copy->fPixmap = XCreatePixmap(display, connection.root(), unsigned(width), unsigned(height), 32);
    XRenderPictureAttributes inferiors{};
    inferiors.subwindow_mode = IncludeInferiors; // of a window: what it shows, not the bare window
    copy->fSource = XRenderCreatePicture(display, source, sourceFormat, CPSubwindowMode, &inferiors);
    copy->fTarget = XRenderCreatePicture(display, copy->fPixmap, argb, 0, nullptr);
    if (trap.Sync() != Success) return nullptr; // the destructor frees what was made
    return copy;
}

X11OpaqueCopy::~X11OpaqueCopy() {
    if (!fConnection.usable()) return;
    X11ErrorTrap trap(fDisplay);
    if (fTarget != None) XRenderFreePicture(fDisplay, fTarget);
    if (fSource != None) XRenderFreePicture(fDisplay, fSource);
    if (fPixmap != None) XFreePixmap(fDisplay, fPixmap);
}

void X11OpaqueCopy::Copy(int x, int y) {
    XRenderComposite(fDisplay, PictOpSrc, fSource, None, fTarget, x, y, 0, 0, 0, 0, unsigned(fWidth),
                     unsigned(fHeight));
}

} // namespace qcp::platform::x11
