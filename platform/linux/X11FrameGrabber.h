#pragma once
#include <X11/Xlib.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "FrameResampler.h"
#include "Geometry.h"
#include "ShmSurfaceMemory.h"
#include "X11Connection.h"
#include "Surface.h"
#include "X11Monitors.h"
#include "X11OpaqueCopy.h"
#include "X11ShmImage.h"
#include "X11SurfacePool.h"

namespace qcp::platform::x11 {

// The pixel side of a display stream: a small pool of output surfaces and
// the reading of the screen into them. With MIT-SHM each pooled surface's
// memory is a segment the X server has attached, so an unscaled frame is
// written by the server straight into the surface that travels to the host
// (with RENDER, from an opaque copy the server makes first, so that the
// client need not set the alpha bytes); a scaled or partly off-screen frame
// is read into one shared buffer and resampled into the surface. Without
// MIT-SHM, or when the server refuses a shared read, frames are read with
// plain XGetImage.
//
// Belongs to whoever holds the capture's turn (see X11DisplayCapture); uses
// the stream's connection.
class X11FrameGrabber {
public:
    // Whether the screen's pixels are 32-bit B, G, R, x words this grabber
    // reads; `why` says otherwise.
    static bool Supported(Display* display, std::string& why);

    X11FrameGrabber(const X11Connection& connection, uint32_t outputWidth, uint32_t outputHeight, uint32_t pixelFormat,
                    std::optional<Rect> sourceRect);
    ~X11FrameGrabber();
    X11FrameGrabber(const X11FrameGrabber&) = delete;
    X11FrameGrabber& operator=(const X11FrameGrabber&) = delete;

    // Aims at the monitor's current place on a root window of that size.
    // False when that is where it was aimed already.
    bool Aim(const X11Monitor& monitor, int rootWidth, int rootHeight);
    // The part of the root window that frames are read from (may be empty).
    int readLeft() const { return fReadLeft; }
    int readTop() const { return fReadTop; }
    int readWidth() const { return fReadWidth; }
    int readHeight() const { return fReadHeight; }

    // A pooled surface that nobody but the pool holds; null when every one
    // is held (the pool grows to its limit first).
    Surface* FreeSurface();
    // Reads the screen into `surface`, one of the pool's. False when the
    // server refused every way of reading it.
    bool Grab(Surface& surface);
    // The serial of the first request of the last Grab that read the screen:
    // events with a lower serial were made before the frame was read.
    unsigned long readSerial() const { return fReadSerial; }
    // Whether frames are the read area pixel for pixel, so that a change on
    // the screen lies at the same place in the frame, offset by the area's
    // top-left corner; otherwise frames are scaled or padded.
    bool unscaled() const { return fResampler.Identity(); }

private:
    bool ReadThroughBuffer(Surface& surface);
    bool ReadPlain(Surface& surface);

    const X11Connection& fConnection;
    Display* const fDisplay;
    const Window fRoot;
    const std::optional<Rect> fSourceRect;
    const bool fShm;
    FrameResampler fResampler;
    struct Aimed {
        int x = 0, y = 0, width = 0, height = 0, rootWidth = 0, rootHeight = 0;
        friend bool operator==(const Aimed&, const Aimed&) = default;
    };
    std::optional<Aimed> fAimed;
    int fReadLeft = 0, fReadTop = 0, fReadWidth = 0, fReadHeight = 0;
    unsigned long fReadSerial = 0;
    // The read area's shared buffer, for frames that are not read in place.
    std::unique_ptr<ShmSurfaceMemory> fBufferMemory;
    std::unique_ptr<X11ShmImage> fBuffer;
    // Unscaled frames with RENDER: the pooled images read this copy.
    const std::optional<X11OpaqueCopy::Format> fOpaqueFormat;
    std::unique_ptr<X11OpaqueCopy> fOpaque;
    X11SurfacePool fPool;
};

} // namespace qcp::platform::x11
