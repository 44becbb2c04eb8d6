#pragma once
#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Cursor.h"
#include "DisplayLink.h"
#include "DisplayStream.h"
#include "Image.h"
#include "Screens.h"
#include "Surface.h"
#include "WindowFrames.h"
#include "zColor.h"
#include "zCritical.h"
#include "zQueue.h"
#include "zRect.h"
#include "zSignal.h"

namespace MC {

class MacCaptureObserver;

// What the display-link callback of window capture works with; copied from
// the source when it starts.
struct MacCaptureWindowUserInfoStruct {
    uint32_t windowID = 0;
    double outputWidth = 0;
    double outputHeight = 0;
    bool showCursor = false;
    long long userData = 0;
    std::unique_ptr<qcp::platform::WindowFrames> frames;
    qcp::platform::SurfaceRef surface; // the last frame sent
    // What the cursor drawn into that frame covers, and those pixels as read.
    std::optional<qcp::platform::Rect> cursorCovered;
    qcp::platform::SurfaceRef underCursor;
};

// The video of one capture source: a whole display, a rectangle of one, or
// one window. Frames go to its observers as surfaces; while it is observed
// but not running it sends a 1280 x 720 no-feed frame once a second.
//
// Threads: configuration, start, stop and destruction come from one thread
// at a time (the registry serialises them per source under the record's
// control lock); observers may register from any thread. Frames arrive on the
// stream's queue, the render queue (cursor compositing) and, for window
// capture, the display link's thread; the feed-detection queue sends the
// no-feed frame. What those threads read of the configuration is atomic or
// under the geometry lock.
class MacCaptureSource {
public:
    struct Frame {
        double x = 0, y = 0, width = 0, height = 0;
    };
    static constexpr int kNoFeedWidth = 1280;
    static constexpr int kNoFeedHeight = 720;
    static constexpr int64_t kRenderIntervalMicros = 16'666;
    static constexpr int64_t kFeedCheckIntervalMicros = 1'000'000;

    MacCaptureSource(const std::string& sourceID, const std::string& sourceName);
    ~MacCaptureSource();
    MacCaptureSource(const MacCaptureSource&) = delete;
    MacCaptureSource& operator=(const MacCaptureSource&) = delete;

    const std::string& sourceID() const { return fSourceID; }
    const std::string& sourceName() const { return fSourceName; }

    // Refused until a frame of non-zero size is set: the stream needs one.
    bool setCaptureDisplay(unsigned int displayID);
    unsigned int getCaptureDisplay() const { return fDisplayID; }
    bool setCaptureFrame(float x, float y, float width, float height);
    zRect getCaptureFrame() const;
    Frame captureFrame() const;
    // Window 0 is refused.
    bool setCaptureWindow(int windowID, long long userData);
    unsigned int captureWindow() const { return fWindowID; }
    void setShowCursor(bool show) { fShowCursor = show; }
    bool showsCursor() const { return fShowCursor; }
    void setOutputSize(float width, float height);
    double outputWidth() const { return fOutputWidth; }
    double outputHeight() const { return fOutputHeight; }
    bool isRunng() const { return fRunning; }

    bool start();
    bool stop();

    // Each registration also queues a feed-detection loop.
    void registerObserver(MacCaptureObserver* observer);
    // Removes the first occurrence; an absent observer is ignored.
    void removeObserver(MacCaptureObserver* observer);

    // Rebuilds the no-feed picture.
    void SetNoFeedFrameType(const zColor& background, const zColor& text, const char* message);

    // The output surface with the cursor, where it is now, drawn over a copy
    // of `source`: `output` reused while its geometry matches, else a new
    // one; null for a zero-sized source or when no surface can be made.
    qcp::platform::SurfaceRef copy_iosurface_and_render_mouse(qcp::platform::Surface* source,
                                                              qcp::platform::SurfaceRef output);

private:
    void onStreamFrame(qcp::platform::FrameStatus status, uint64_t displayTime, qcp::platform::Surface* surface,
                       const qcp::platform::DirtyRects& dirty);
    void startRenderLoop(qcp::platform::Surface* first);
    void renderLoop();
    // Ends the render loop and waits for it. Called by the thread that
    // delivers the stream's frames, or once that has ended.
    void stopRenderLoop();
    // Asks the system where the mouse is, on which screens, and what the
    // cursor looks like, for the drawing that follows. The render loop asks
    // before it takes the render lock, so that the stream's queue never
    // waits for the system's answer to hand over a frame.
    void readCursor();
    // Draws the cursor as last read; answers the whole pixels it may have
    // covered, none when it drew nothing. With `under`, those pixels are
    // first copied into it (a surface of the target's geometry).
    std::optional<qcp::platform::Rect> render_cursor_to_current_surface(qcp::platform::Surface& target,
                                                                        qcp::platform::Surface* under = nullptr);
    // copy_iosurface_and_render_mouse with the cursor as last read.
    qcp::platform::SurfaceRef copyAndDrawCursor(qcp::platform::Surface* source, qcp::platform::SurfaceRef output);
    // The render loop's pass: the composed surface for the latest frame. A
    // frame the stream lends and no one else has is drawn into itself; a
    // surface that holds an earlier frame of the run takes only the parts
    // that changed since and those under its cursor.
    qcp::platform::SurfaceRef composeLatestFrame(qcp::platform::SurfaceRef output);
    // Draws the cursor into a lent frame, keeping what it covers in fUnderCursor.
    void drawCursorIntoFrame(qcp::platform::Surface& frame);
    // Makes `under` a surface of the frame's geometry, kept while it matches;
    // false when none can be made.
    static bool keepAsideFor(const qcp::platform::Surface& frame, qcp::platform::SurfaceRef& under);
    // Draws the cursor's picture at `drawn` (target pixels, origin top-left),
    // first copying the whole pixels it covers into `under` when given;
    // answers those pixels.
    static std::optional<qcp::platform::Rect> drawCursorPicture(qcp::platform::Surface& target,
                                                                const qcp::platform::Image& cursor,
                                                                const qcp::platform::Rect& drawn,
                                                                qcp::platform::Surface* under);
    // Puts the pixels the cursor covers (`covered`, kept in `under`) back
    // into the frame it was drawn into; nothing is covered afterwards.
    static void putBackUnderCursor(qcp::platform::Surface& frame, const qcp::platform::SurfaceRef& under,
                                   std::optional<qcp::platform::Rect>& covered);
    // The latest frame to the observers as it is, its cursor taken out
    // where it was drawn into it.
    void sendLatestWithoutCursor();
    void send_surface_to_observers(qcp::platform::Surface* surface, uint64_t time);
    void send_no_video_feed_message();
    void feedDetectionLoop();
    void displayLinkCallback(int64_t videoTime);
    // Draws the cursor over a window's frame (the window at `bounds`, none
    // when it is gone) where the mouse is over it, keeping what it covers in
    // `under`; answers those pixels.
    std::optional<qcp::platform::Rect> drawWindowCursor(qcp::platform::Surface& frame,
                                                        const std::optional<qcp::platform::Rect>& bounds,
                                                        qcp::platform::SurfaceRef& under);
    bool startWindowCapture();
    bool startStream();
    // Destroys the stream, its queue and the render loop, in that order.
    void releaseStream();

    const std::string fSourceID;
    const std::string fSourceName;
    std::mutex fCondition; // pairs stop() with the stream's Stopped status
    std::condition_variable fStopped;
    std::atomic<bool> fRunning{false};
    mutable std::mutex fObserverLock;
    std::vector<MacCaptureObserver*> fObservers;
    std::atomic<double> fOutputWidth{0};
    std::atomic<double> fOutputHeight{0};
    mutable std::mutex fGeometryLock; // the frame, read by the render loop
    Frame fCaptureFrame;
    bool fHasSourceRect = false;
    std::unique_ptr<zQueue> fStreamQueue;
    std::unique_ptr<qcp::platform::DisplayStream> fStream;
    bool fStreamLends = false; // set before the stream starts
    std::atomic<unsigned int> fDisplayID{0}; // re-aimed by the window monitor
    std::atomic<unsigned int> fWindowID{0};
    MacCaptureWindowUserInfoStruct fWindowInfo;
    long long fWindowUserData = 0;
    std::unique_ptr<qcp::platform::DisplayLink> fDisplayLink;
    qcp::platform::SurfaceRef fNoFeedSurface;
    std::unique_ptr<zQueue> fFeedQueue;
    zSignal fFeedWake; // cuts the feed loop's wait short at teardown
    std::atomic<bool> fShowCursor{false};
    qcp::platform::SurfaceRef fLatestSurface;
    std::unique_ptr<zCritical> fRenderLock;
    std::unique_ptr<zQueue> fRenderQueue;
    std::atomic<bool> fRenderStopping{false};
    zSignal fRenderWake; // cuts the loop's wait short when it is stopped
    qcp::platform::SurfaceRef fComposedSurface;
    // Under the render lock: the number of the latest frame among the
    // stream's, which one the composed surface holds (0: none) with the
    // pixels its cursor covers, and where the frames after it changed.
    uint64_t fLatestNumber = 0;
    uint64_t fComposedNumber = 0;
    std::optional<qcp::platform::Rect> fComposedCursor;
    qcp::platform::DirtyRects fDirtySinceComposed;
    // Whether the latest frame went to the observers as it is (cursor off),
    // so that it is no longer only the stream's and this loop's to draw into;
    // and, while the composed surface is a lent frame, what its cursor covers.
    bool fLatestShared = false;
    qcp::platform::SurfaceRef fUnderCursor;
    bool fPlainSent = false; // since the cursor was turned off mid-run
    // The last readCursor's answers (the render loop's; the list reused).
    std::vector<qcp::platform::ScreenInfo> fCursorScreens;
    qcp::platform::Point fCursorMouse;
    qcp::platform::CursorImage fCursorImage;
    std::vector<qcp::platform::ScreenInfo> fWindowScreens; // the display link's, reused
};

} // namespace MC
