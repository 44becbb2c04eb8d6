#pragma once
#include <cstdint>
#include <functional>
#include <optional>

#include "DirtyRects.h"
#include "Geometry.h"
#include "Surface.h"

class zQueue;

namespace qcp::platform {

// kCGDisplayStreamFrameStatus...: FrameComplete, FrameIdle, FrameBlank, Stopped.
enum class FrameStatus { Complete, Idle, Blank, Stopped };

// The frame handler. It runs on the stream's queue only, one call at a time.
// - Complete: `surface` holds a new frame at the output size. It is valid for
//   the call; retain it (SurfaceRef::Retain) to keep it longer. The stream
//   never draws into a surface that someone still retains, so a retained
//   frame stays as delivered. `dirty` names where it may differ from the
//   run's previous Complete frame (kCGDisplayStreamUpdateDirtyRects); the
//   first frame of a run, and one the stream cannot account for, names the
//   whole frame. Nothing outside `dirty` changed, so a consumer that keeps
//   a copy of the last frame brings it up to date from these parts alone.
// - Idle: nothing on the display changed; `surface` is null.
// - Blank: the display is asleep or shows nothing; `surface` is null.
// - Stopped: the last call of a run, after Stop() or when the display went
//   away; `surface` is null. Frames already on their way are delivered
//   before it; none follow it until the stream is started again.
// `displayTime` is the zTime clock (microseconds) when the frame was taken.
// `dirty` is empty for every status but Complete.
using FrameHandler =
    std::function<void(FrameStatus status, uint64_t displayTime, Surface* surface, const DirtyRects& dirty)>;

// What CGDisplayStreamCreateWithDispatchQueue is given.
struct DisplayStreamConfig {
    uint32_t displayID = 0;
    // The size of the delivered frames in pixels; the captured part of the
    // display is scaled to it.
    uint32_t outputWidth = 0;
    uint32_t outputHeight = 0;
    // The tag the delivered surfaces carry (kPixelFormatBGRA).
    uint32_t pixelFormat = kPixelFormatBGRA;
    // kCGDisplayStreamSourceRect: the part of the display to capture, in the
    // display's points with the origin at its top-left corner, y down; the
    // whole display when absent.
    std::optional<Rect> sourceRect;
    // The serial queue the handler runs on. It must outlive the stream.
    zQueue* queue = nullptr;
    FrameHandler handler;
};

// A display's frames (CGDisplayStream), delivered at most once per refresh
// of the display and only when something on it changed. The platform never
// draws the mouse cursor into them (kCGDisplayStreamShowCursor false); the
// core composites its own.
//
// Made by Platform::createDisplayStream on the host's thread; the core has
// checked that the output size is non-zero, that the queue and handler are
// set and that the source rectangle, if any, is non-empty. Start, Stop and
// the destructor are called from the host's thread (or from the handler on
// the stream's queue), never concurrently with each other.
class DisplayStream {
public:
    // Ends a run without the Stopped call if the stream is still running.
    // Once it returns, no handler call is running or will start, unless it
    // is called from the handler itself, where the current call is the last.
    virtual ~DisplayStream() = default;
    // Starts, or restarts after a Stopped, a run of frames (CGDisplayStreamStart).
    // True when frames will flow, also when the stream is already running;
    // false when the display is no longer attached.
    virtual bool Start() = 0;
    // Asks the stream to end its run (CGDisplayStreamStop). Returns true at
    // once; the Stopped call arrives later on the queue, so waiting for it
    // must not block that queue. False, with no Stopped call to follow, when
    // the stream is not running (never started, stopped already, or ended by
    // the display going away).
    virtual bool Stop() = 0;
    // Whether the handler may draw into a Complete frame that it has given
    // no one else, for as long as it retains it: the stream writes every
    // frame whole and never builds one on another (should it compare a new
    // read with the frame it delivered last, what the consumer drew there
    // makes it deliver the new one, whole). A consumer that draws over the
    // frames (the cursor) then needs no copy of its own. False where frames
    // are the system's to read only (an IOSurface of the window server).
    // Any thread; the answer never changes.
    virtual bool LendsFrames() const { return false; }
};

} // namespace qcp::platform
