#pragma once
#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "DisplayLink.h"
#include "DisplayStream.h"
#include "Surface.h"
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
    qcp::platform::SurfaceRef surface; // reused from frame to frame
};

// The video of one capture source: a whole display, a rectangle of one, or
// one window. Frames go to its observers as surfaces; while it is observed
// but not running it sends a 1280 x 720 no-feed frame once a second.
//
// Threads: the host's (configuration, start, stop, observers), the stream's
// queue (frames), the render queue (cursor compositing), the feed-detection
// queue and, for window capture, the display link's thread.
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
    const Frame& captureFrame() const { return fCaptureFrame; }
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

    // The output surface with the cursor drawn over a copy of `source`:
    // `output` reused while its geometry matches, else a new one; null for a
    // zero-sized source or when no surface can be made.
    qcp::platform::SurfaceRef copy_iosurface_and_render_mouse(qcp::platform::Surface* source,
                                                              qcp::platform::SurfaceRef output);

private:
    void onStreamFrame(qcp::platform::FrameStatus status, uint64_t displayTime, qcp::platform::Surface* surface);
    void renderLoop();
    void stopRenderLoop();
    void render_cursor_to_current_surface(qcp::platform::Surface& target);
    void send_surface_to_observers(qcp::platform::Surface* surface, uint64_t time);
    void send_no_video_feed_message();
    void feedDetectionLoop();
    void displayLinkCallback(int64_t videoTime);
    void drawWindowCursor(qcp::platform::Surface& surface, uint32_t windowID);
    bool startWindowCapture();
    bool startStream();

    const std::string fSourceID;
    const std::string fSourceName;
    std::mutex fCondition; // pairs stop() with the stream's Stopped status
    std::condition_variable fStopped;
    std::atomic<bool> fRunning{false};
    mutable std::mutex fObserverLock;
    std::vector<MacCaptureObserver*> fObservers;
    double fOutputWidth = 0;
    double fOutputHeight = 0;
    Frame fCaptureFrame;
    bool fHasSourceRect = false;
    std::unique_ptr<zQueue> fStreamQueue;
    std::unique_ptr<qcp::platform::DisplayStream> fStream;
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
    std::unique_ptr<zSignal> fRenderDone;
    std::unique_ptr<zQueue> fRenderQueue;
    qcp::platform::SurfaceRef fComposedSurface;
};

} // namespace MC
