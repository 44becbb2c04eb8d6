#include "X11FrameGrabber.h"

#include <X11/Xutil.h>

#include <algorithm>
#include <cmath>

#include "X11ErrorTrap.h"

namespace qcp::platform::x11 {
namespace {
// As many surfaces as a display stream's queue holds on macOS, plus the one
// being written.
constexpr size_t kPoolSize = 4;
} // namespace

bool X11FrameGrabber::Supported(Display* display, std::string& why) {
    const int screen = DefaultScreen(display);
    const Visual* visual = DefaultVisual(display, screen);
    const int depth = DefaultDepth(display, screen);
    int bitsPerPixel = 0, count = 0;
    if (XPixmapFormatValues* formats = XListPixmapFormats(display, &count)) {
        for (int i = 0; i < count; ++i)
            if (formats[i].depth == depth) bitsPerPixel = formats[i].bits_per_pixel;
        XFree(formats);
    }
    if (bitsPerPixel == 32 && ImageByteOrder(display) == LSBFirst && visual->red_mask == 0xFF0000 &&
        visual->green_mask == 0xFF00 && visual->blue_mask == 0xFF)
        return true;
    why = "the screen's pixels are not 32-bit BGRx (depth " + std::to_string(depth) + ", " +
          std::to_string(bitsPerPixel) + " bits per pixel)";
    return false;
}

X11FrameGrabber::X11FrameGrabber(const X11Connection& connection, uint32_t outputWidth, uint32_t outputHeight,
                                 uint32_t pixelFormat, std::optional<Rect> sourceRect)
    : fConnection(connection), fDisplay(connection.display()), fRoot(connection.root()), fSourceRect(sourceRect),
      fShm(X11ShmImage::Available(fDisplay)),
      fOpaqueFormat(fShm ? X11OpaqueCopy::ImageFormat(fDisplay) : std::nullopt),
      fPool(connection, SurfaceProperties::Packed(outputWidth, outputHeight, pixelFormat), fShm, fOpaqueFormat,
            kPoolSize) {}

// The shared images go before their memory: the server detaches first.
X11FrameGrabber::~X11FrameGrabber() {
    fOpaque.reset();
    fBuffer.reset();
}

bool X11FrameGrabber::Aim(const X11Monitor& monitor, int rootWidth, int rootHeight) {
    const Aimed aimed{monitor.x, monitor.y, monitor.width, monitor.height, rootWidth, rootHeight};
    if (fAimed == aimed) return false;
    fAimed = aimed;
    const Rect source = fSourceRect.value_or(Rect{0, 0, double(monitor.width), double(monitor.height)});
    const double x = monitor.x + source.x, y = monitor.y + source.y;
    // Only what lies on the monitor (and so on the root window) is read.
    const int left = std::max({int(std::floor(x)), monitor.x, 0});
    const int top = std::max({int(std::floor(y)), monitor.y, 0});
    const int right = std::min({int(std::ceil(x + source.width)), monitor.x + monitor.width, rootWidth});
    const int bottom = std::min({int(std::ceil(y + source.height)), monitor.y + monitor.height, rootHeight});
    fReadLeft = left;
    fReadTop = top;
    fReadWidth = std::max(0, right - left);
    fReadHeight = std::max(0, bottom - top);
    const SurfaceProperties& output = fPool.properties();
    fResampler.Configure({output.width, output.height, x, y, source.width, source.height, fReadLeft, fReadTop,
                          fReadWidth, fReadHeight});

    fOpaque.reset();
    if (fOpaqueFormat && fResampler.Identity())
        fOpaque = X11OpaqueCopy::Create(fConnection, fRoot, DefaultVisual(fDisplay, DefaultScreen(fDisplay)),
                                        fReadWidth, fReadHeight);

    const bool needBuffer = fShm && !fResampler.Identity() && fReadWidth > 0 && fReadHeight > 0;
    const size_t bufferSize = size_t(fReadWidth) * 4 * size_t(fReadHeight);
    if (!needBuffer || (fBufferMemory && fBufferMemory->size() != bufferSize)) {
        fBuffer.reset();
        fBufferMemory.reset();
    }
    if (needBuffer && !fBufferMemory) {
        fBufferMemory = ShmSurfaceMemory::Create(bufferSize);
        if (fBufferMemory)
            fBuffer = X11ShmImage::Attach(fConnection, fBufferMemory->shmid(), fBufferMemory->data(), uint32_t(fReadWidth),
                                          uint32_t(fReadHeight));
    }
    return true;
}

Surface* X11FrameGrabber::FreeSurface() {
    X11SurfacePool::Entry* entry = fPool.Free();
    return entry ? entry->surface.get() : nullptr;
}

bool X11FrameGrabber::Grab(Surface& surface) {
    X11SurfacePool::Entry* pooled = fPool.Find(surface);
    if (!pooled) return false;
    SurfaceLock lock(surface);
    fReadSerial = NextRequest(fDisplay);
    if (fResampler.Identity() && pooled->image) {
        if (fOpaque) {
            fOpaque->Copy(fReadLeft, fReadTop);
            if (pooled->image->Read(fOpaque->pixmap(), 0, 0)) return true;
        } else if (pooled->image->Read(fRoot, fReadLeft, fReadTop)) {
            FrameResampler::MakeOpaque(surface.baseAddress(), surface.bytesPerRow(), surface.width(),
                                       surface.height());
            return true;
        }
    }
    if (fReadWidth == 0 || fReadHeight == 0) {
        // Nothing of the part is on the screen: all black.
        fResampler.Resample(nullptr, 0, surface.baseAddress(), surface.bytesPerRow());
        return true;
    }
    return ReadThroughBuffer(surface) || ReadPlain(surface);
}

bool X11FrameGrabber::ReadThroughBuffer(Surface& surface) {
    if (!fBuffer || !fBuffer->Read(fRoot, fReadLeft, fReadTop)) return false;
    fResampler.Resample(fBuffer->data(), fBuffer->bytesPerRow(), surface.baseAddress(), surface.bytesPerRow());
    return true;
}

bool X11FrameGrabber::ReadPlain(Surface& surface) {
    X11ErrorTrap trap(fDisplay);
    XImage* image = XGetImage(fDisplay, fRoot, fReadLeft, fReadTop, unsigned(fReadWidth), unsigned(fReadHeight),
                              AllPlanes, ZPixmap);
    if (trap.Sync() != Success || !image) {
        if (image) XDestroyImage(image);
        return false;
    }
    const bool readable = image->bits_per_pixel == 32;
    if (readable)
        fResampler.Resample(reinterpret_cast<const uint8_t*>(image->data), size_t(image->bytes_per_line),
                            surface.baseAddress(), surface.bytesPerRow());
    XDestroyImage(image);
    return readable;
}

} // namespace qcp::platform::x11
