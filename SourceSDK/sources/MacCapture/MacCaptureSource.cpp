// The capture source's configuration, start and stop, observers and the
// feed-detection loop.
#include "MacCaptureSource.h"

#include <algorithm>
#include <cstdio>

#include "CommonSDKVariables.h"
#include "MacCaptureLogging.h"
#include "MacCaptureObserver.h"
#include "PictureWindowFrames.h"
#include "Platform.h"
#include "zTime.h"

namespace MC {

using namespace qcp::platform;

namespace {
constexpr const char* kQueuePrefix = "com.qcp.capture";
constexpr const char* kPermissionDeniedKey = "p_screen_record_deny_msg";
} // namespace

MacCaptureSource::MacCaptureSource(const std::string& sourceID, const std::string& sourceName)
    : fSourceID(sourceID), fSourceName(sourceName) {
    SetNoFeedFrameType(zColor{0, 0, 0, 0}, zColor{}, nullptr);
    if (!Current()->system().hasScreenRecordingPermission()) {
        const char* text = CSDK::TranslateString(kPermissionDeniedKey);
        UserLog(-2, text ? text : kPermissionDeniedKey);
    }
}

MacCaptureSource::~MacCaptureSource() {
    stop();
    // A stream that refused the stop (its display went away) is still here.
    releaseStream();
    {
        std::lock_guard lock(fObserverLock);
        fObservers.clear();
    }
    if (fFeedQueue) {
        fFeedWake.Raise();
        fFeedQueue->Sync([] {});
        fFeedQueue.reset();
    }
    fWindowInfo.frames.reset();
    fWindowInfo.surface.reset();
}

bool MacCaptureSource::setCaptureDisplay(unsigned int displayID) {
    {
        std::lock_guard lock(fGeometryLock);
        if (!fHasSourceRect || fCaptureFrame.width == 0 || fCaptureFrame.height == 0) return false;
    }
    fDisplayID = displayID;
    fWindowID = 0;
    return true;
}

bool MacCaptureSource::setCaptureFrame(float x, float y, float width, float height) {
    {
        std::lock_guard lock(fGeometryLock);
        fCaptureFrame = {x, y, width, height};
        fHasSourceRect = true;
    }
    fWindowID = 0;
    return true;
}

MacCaptureSource::Frame MacCaptureSource::captureFrame() const {
    std::lock_guard lock(fGeometryLock);
    return fCaptureFrame;
}

zRect MacCaptureSource::getCaptureFrame() const {
    const Frame frame = captureFrame();
    const int left = int(frame.x);
    const int top = int(frame.y);
    return {left, top, left + int(frame.width), top + int(frame.height)};
}

bool MacCaptureSource::setCaptureWindow(int windowID, long long userData) {
    if (windowID == 0) return false;
    fWindowID = unsigned(windowID);
    fWindowUserData = userData;
    return true;
}

void MacCaptureSource::setOutputSize(float width, float height) {
    fOutputWidth = width;
    fOutputHeight = height;
}

bool MacCaptureSource::start() {
    if (fWindowID != 0) return startWindowCapture();
    if (!fStream) return startStream();
    fRunning = fStream->Start();
    return fRunning;
}

bool MacCaptureSource::startWindowCapture() {
    // A window source captures through the display link of the display last
    // set; it follows the window by number on every refresh. A start while
    // running re-aims: the old link has stopped before its context changes.
    fDisplayLink.reset();
    fWindowInfo.windowID = fWindowID;
    fWindowInfo.outputWidth = fOutputWidth;
    fWindowInfo.outputHeight = fOutputHeight;
    fWindowInfo.showCursor = fShowCursor;
    fWindowInfo.userData = fWindowUserData;
    fWindowInfo.frames = Current()->createWindowFrames(fWindowID);
    if (!fWindowInfo.frames) fWindowInfo.frames = std::make_unique<PictureWindowFrames>(fWindowID);
    fWindowInfo.surface.reset();
    fWindowInfo.cursorCovered.reset();
    fDisplayLink =
        Current()->createDisplayLink(fDisplayID, [this](int64_t videoTime) { displayLinkCallback(videoTime); });
    fRunning = fDisplayLink && fDisplayLink->Start();
    return fRunning;
}

bool MacCaptureSource::startStream() {
    Frame frame;
    bool hasSourceRect = false;
    {
        std::lock_guard lock(fGeometryLock);
        frame = fCaptureFrame;
        hasSourceRect = fHasSourceRect;
    }
    if (fOutputWidth == 0 || fOutputHeight == 0) {
        fOutputWidth = frame.width;
        fOutputHeight = frame.height;
        if (fOutputWidth == 0 || fOutputHeight == 0) return false;
    }
    char label[512];
    std::snprintf(label, sizeof label, "%s.%s.%s", kQueuePrefix, fSourceName.c_str(), fSourceID.c_str());
    fStreamQueue = std::make_unique<zQueue>(label);
    DisplayStreamConfig config;
    config.displayID = fDisplayID;
    config.outputWidth = uint32_t(fOutputWidth);
    config.outputHeight = uint32_t(fOutputHeight);
    config.pixelFormat = kPixelFormatBGRA;
    if (hasSourceRect) config.sourceRect = Rect{frame.x, frame.y, frame.width, frame.height};
    config.queue = fStreamQueue.get();
    config.handler = [this](FrameStatus status, uint64_t time, Surface* surface, const DirtyRects& dirty) {
        onStreamFrame(status, time, surface, dirty);
    };
    fStream = Current()->createDisplayStream(std::move(config));
    fStreamLends = fStream && fStream->LendsFrames();
    fRunning = fStream && fStream->Start();
    return fRunning;
}

bool MacCaptureSource::stop() {
    bool stopped = false;
    if (fStream && fStream->Stop()) {
        {
            std::unique_lock lock(fCondition);
            // The stream's Stopped status clears `running` and signals. A
            // stream that never answers must not hang the host forever.
            fStopped.wait_for(lock, std::chrono::seconds(5), [this] { return !fRunning; });
        }
        releaseStream();
        fRunning = false;
        stopped = true;
    }
    if (fDisplayLink) {
        fDisplayLink->Stop();
        fDisplayLink.reset();
        fRunning = false;
    }
    // The window's reader and its surfaces go with the link that used them.
    fWindowInfo.frames.reset();
    return stopped;
}

void MacCaptureSource::releaseStream() {
    fStream.reset();
    // Handler calls already queued finish before the queue goes; the next
    // start makes a new stream on a new queue. Only then is the render loop,
    // which a stream that never answered may have left running, nobody
    // else's.
    fStreamQueue.reset();
    stopRenderLoop();
}

void MacCaptureSource::registerObserver(MacCaptureObserver* observer) {
    std::lock_guard lock(fObserverLock);
    fObservers.push_back(observer);
    if (!fFeedQueue) fFeedQueue = std::make_unique<zQueue>(fSourceID + "_feed_detection_thread");
    fFeedQueue->Async([this] { feedDetectionLoop(); });
}

void MacCaptureSource::removeObserver(MacCaptureObserver* observer) {
    std::lock_guard lock(fObserverLock);
    if (auto it = std::find(fObservers.begin(), fObservers.end(), observer); it != fObservers.end())
        fObservers.erase(it);
}

void MacCaptureSource::feedDetectionLoop() {
    for (;;) {
        {
            std::lock_guard lock(fObserverLock);
            if (fObservers.empty()) return;
            if (!fRunning) send_no_video_feed_message();
        }
        fFeedWake.Wait(kFeedCheckIntervalMicros);
    }
}

void MacCaptureSource::send_no_video_feed_message() {
    const auto now = uint64_t(zTime::MicroNow());
    for (MacCaptureObserver* observer : fObservers)
        observer->receivedScreenFrame(kNoFeedWidth, kNoFeedHeight, now, fNoFeedSurface.get());
}

void MacCaptureSource::send_surface_to_observers(Surface* surface, uint64_t time) {
    // Under the observer lock, so an observer registered meanwhile cannot
    // move the list under this walk.
    std::lock_guard lock(fObserverLock);
    for (MacCaptureObserver* observer : fObservers)
        observer->receivedScreenFrame(int(fOutputWidth), int(fOutputHeight), time, surface);
}

} // namespace MC
