// Display and region capture: the stream's frames, and the render loop that
// draws the cursor into them sixty times a second (and, once the cursor is
// turned off mid-run, sends the frame on screen once without it and then
// leaves the frames to the stream).
#include <algorithm>
#include <cmath>

#include "CursorGeometry.h"
#include "MacCaptureDisplayUtils.h"
#include "MacCaptureSource.h"
#include "Platform.h"
#include "zTime.h"

namespace MC {

using namespace qcp::platform;

namespace {
bool SameGeometry(const Surface& a, const Surface& b) {
    const SurfaceProperties &p = a.properties(), &q = b.properties();
    return p.allocSize == q.allocSize && p.width == q.width && p.height == q.height && p.bytesPerRow == q.bytesPerRow &&
           p.elementWidth == q.elementWidth && p.bytesPerElement == q.bytesPerElement &&
           p.pixelFormat == q.pixelFormat;
}
} // namespace

void MacCaptureSource::onStreamFrame(FrameStatus status, uint64_t displayTime, Surface* surface,
                                     const DirtyRects& dirty) {
    switch (status) {
    case FrameStatus::Complete: {
        // Read once: the loop must know whether this very frame goes out as it is.
        const bool asItIs = !fShowCursor;
        if (fRenderQueue) {
            // Also while the cursor is off: the loop's surface follows every
            // frame's changes, or it would miss some when the cursor is back.
            zLocker lock(*fRenderLock);
            fLatestSurface = SurfaceRef::Retain(surface);
            fLatestShared = asItIs;
            ++fLatestNumber;
            fDirtySinceComposed.Add(dirty);
        }
        if (asItIs) send_surface_to_observers(surface, displayTime);
        else if (!fRenderQueue) startRenderLoop(surface);
        break;
    }
    case FrameStatus::Stopped: {
        stopRenderLoop();
        std::lock_guard lock(fCondition);
        fRunning = false;
        fStopped.notify_all();
        break;
    }
    case FrameStatus::Idle:
    case FrameStatus::Blank:
        break;
    }
}

void MacCaptureSource::startRenderLoop(Surface* first) {
    fLatestSurface = SurfaceRef::Retain(first);
    fLatestShared = false;
    fPlainSent = false;
    ++fLatestNumber;
    fComposedNumber = 0;
    fDirtySinceComposed.Clear();
    fRenderLock = zCritical::Factory();
    fRenderStopping = false;
    fRenderWake.Reset();
    fRenderQueue = std::make_unique<zQueue>(fSourceID);
    fRenderQueue->Async([this] { renderLoop(); });
}

void MacCaptureSource::stopRenderLoop() {
    if (!fRenderQueue) return;
    fRenderStopping = true;
    fRenderWake.Raise();
    fRenderQueue.reset(); // runs the loop to its end and joins
    fRenderLock.reset();
    fLatestSurface.reset();
    fComposedSurface.reset();
    fUnderCursor.reset();
}

void MacCaptureSource::renderLoop() {
    // Paced to deadlines, so the pass's own work comes out of the wait; a
    // late pass is followed at once by the next, without a burst to catch up.
    int64_t deadline = zTime::MicroNow();
    while (!fRenderStopping) {
        // Once a pass: the cursor read outside the lock is the one drawn.
        const bool showCursor = fShowCursor;
        if (showCursor) readCursor();
        {
            zLocker lock(*fRenderLock);
            if (showCursor) {
                // A pass that cannot make a surface sends nothing; the next tries again.
                fComposedSurface = composeLatestFrame(std::move(fComposedSurface));
                if (fComposedSurface) send_surface_to_observers(fComposedSurface.get(), 0);
                fPlainSent = false;
            } else if (!fPlainSent) {
                sendLatestWithoutCursor();
                fPlainSent = true;
            }
        }
        deadline += kRenderIntervalMicros;
        const int64_t now = zTime::MicroNow();
        if (deadline < now) deadline = now;
        fRenderWake.WaitUntil(deadline);
    }
}

void MacCaptureSource::sendLatestWithoutCursor() {
    Surface* frame = fLatestSurface.get();
    if (!frame) return;
    // A lent frame with the cursor drawn in: its own pixels back.
    if (fComposedSurface.get() == frame) putBackUnderCursor(*frame, fUnderCursor, fComposedCursor);
    fLatestShared = true;
    send_surface_to_observers(frame, 0);
}

SurfaceRef MacCaptureSource::composeLatestFrame(SurfaceRef output) {
    Surface* frame = fLatestSurface.get();
    const bool fresh = fLatestNumber != fComposedNumber;
    const bool lent = frame && fStreamLends && !fLatestShared && frame->width() != 0 && frame->height() != 0;
    // A frame that went out as it is meanwhile is no longer this loop's to draw into.
    if (!lent && output && output.get() == frame) output.reset();
    if (lent && fresh) {
        // The stream writes every frame whole and no one else has this one:
        // the cursor goes into it, and nothing is copied.
        output = fLatestSurface;
        drawCursorIntoFrame(*output);
    } else if (lent && output.get() == frame) {
        // The lent frame again, the cursor perhaps elsewhere: its pixels back first.
        putBackUnderCursor(*output, fUnderCursor, fComposedCursor);
        drawCursorIntoFrame(*output);
    } else if (output && frame && fComposedNumber != 0 && SameGeometry(*frame, *output)) {
        // The output holds an earlier frame of this run: only what changed
        // since, and what its cursor covered, comes anew from the latest.
        Compositor& compositor = Current()->compositor();
        if (fComposedCursor) compositor.copyArea(*frame, *output, *fComposedCursor);
        for (const Rect& changed : fDirtySinceComposed) compositor.copyArea(*frame, *output, changed);
        fComposedCursor = render_cursor_to_current_surface(*output);
    } else {
        output = copyAndDrawCursor(frame, std::move(output));
    }
    fComposedNumber = output ? fLatestNumber : 0;
    fDirtySinceComposed.Clear();
    return output;
}

SurfaceRef MacCaptureSource::copy_iosurface_and_render_mouse(Surface* source, SurfaceRef output) {
    readCursor();
    return copyAndDrawCursor(source, std::move(output));
}

SurfaceRef MacCaptureSource::copyAndDrawCursor(Surface* source, SurfaceRef output) {
    if (!source || source->width() == 0 || source->height() == 0) return {};
    if (!output || !SameGeometry(*source, *output))
        output = SurfaceRef::Adopt(Current()->createSurface(source->properties()));
    if (!output) return {};
    Current()->compositor().copySurface(*source, *output);
    fComposedCursor = render_cursor_to_current_surface(*output);
    return output;
}

void MacCaptureSource::putBackUnderCursor(Surface& frame, const SurfaceRef& under, std::optional<Rect>& covered) {
    if (!covered) return;
    Current()->compositor().copyArea(*under, frame, *covered);
    covered.reset();
}

void MacCaptureSource::drawCursorIntoFrame(Surface& frame) {
    fComposedCursor = keepAsideFor(frame, fUnderCursor) ? render_cursor_to_current_surface(frame, fUnderCursor.get())
                                                        : std::nullopt;
}

bool MacCaptureSource::keepAsideFor(const Surface& frame, SurfaceRef& under) {
    if (!under || !SameGeometry(*under, frame)) under = SurfaceRef::Adopt(Current()->createSurface(frame.properties()));
    return bool(under);
}

std::optional<Rect> MacCaptureSource::drawCursorPicture(Surface& target, const Image& cursor, const Rect& drawn,
                                                        Surface* under) {
    const double left = std::floor(drawn.x), top = std::floor(drawn.y);
    const Rect covered{left, top, std::ceil(drawn.MaxX()) - left, std::ceil(drawn.MaxY()) - top};
    if (under) Current()->compositor().copyArea(target, *under, covered);
    Current()->compositor().drawImage(target, cursor, drawn);
    return covered;
}

void MacCaptureSource::readCursor() {
    // One reading of the list (with the mouse) gives the display's screen and
    // the main one, into a vector kept from pass to pass: the pass allocates
    // nothing.
    fCursorMouse = Current()->screensAndMouse(fCursorScreens);
    fCursorImage = Current()->cursor().currentCursor();
}

std::optional<Rect> MacCaptureSource::render_cursor_to_current_surface(Surface& target, Surface* under) {
    const unsigned int displayID = fDisplayID;
    const auto screen = std::find_if(fCursorScreens.begin(), fCursorScreens.end(),
                                     [&](const ScreenInfo& s) { return s.displayID == displayID; });
    if (screen == fCursorScreens.end()) return std::nullopt;
    const CursorImage& cursor = fCursorImage;
    if (!cursor.image) return std::nullopt;
    const Rect where = CursorGeometry::ForDisplay(screen->frame, fCursorScreens[0].frame, getCaptureFrame(),
                                                  fCursorMouse, {cursor.width, cursor.height, cursor.hotSpot});
    // Points against pixels, unscaled, as the geometry intends.
    const Rect bounds{0, 0, double(target.width()), double(target.height())};
    if (!where.Intersects(bounds)) return std::nullopt;
    return drawCursorPicture(target, *cursor.image, CursorGeometry::FlipToTopLeft(where, target.height()), under);
}

} // namespace MC
