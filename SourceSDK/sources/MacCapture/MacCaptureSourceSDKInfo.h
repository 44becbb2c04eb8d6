#pragma once
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

#include "MacCaptureObserver.h"
#include "MacCaptureSource.h"
#include "QCP_API.h"
#include "zCritical.h"
#include "zRect.h"

namespace MC {

enum eCaptureType : int32_t { kCaptureDisplay = 0, kCaptureWindow = 1, kCaptureGame = 2 };
enum eCaptureMode : int32_t { kCaptureWholeDisplay = 0, kCaptureRegion = 1 };

// One screen source as the host sees it: its capture choices, the host's
// callbacks, and the buffers every frame and audio packet is delivered in.
//
// Threads: every change of the choices or of the source (the host's setters,
// start and stop, the window monitor's re-aims) runs under `controlLock`, so
// changes of one source never interleave. The choices are atomics (or, for
// the region, under a lock of its own) so that any thread may read them
// without waiting for a change in progress, which can take seconds while a
// stream stops. Frames and packets arrive on capture threads and touch only
// the buffers and callbacks, under `callbackLock`.
class MacCaptureSourceSDKInfo final : public MacCaptureObserver {
public:
    explicit MacCaptureSourceSDKInfo(std::unique_ptr<MacCaptureSource> source);
    ~MacCaptureSourceSDKInfo() override;

    void ProcessAudioData(void* data, int size) override;
    // Fills the video record in place from the surface and hands it to the
    // host; frames without a surface are not delivered.
    void receivedScreenFrame(int width, int height, unsigned long long time,
                             qcp::platform::Surface* surface) override;

    // Waits for a callback in progress; none is called after.
    void clearCallbacks();

    // Tells the host that the source's settings changed ('kset').
    void NotifySourceSettingsChanged();

    void enableRegionCapture(const zRect* region);
    void disableRegionCapture() { captureMode = kCaptureWholeDisplay; }
    bool isCapturingRegion() const { return captureMode == kCaptureRegion; }
    eCaptureMode getCaptureMode() const { return captureMode; }
    zRect getRegion() const;
    void setRegion(const zRect& region);

    // True on a thread that is inside one of this record's host callbacks.
    // Changes of the source are refused there: stopping it would wait for
    // the very callback that asks.
    bool isDeliveringOnThisThread() const { return tDelivering == this; }

    // Re-entrant: one change applies others (a type applies a display, which
    // applies a mode).
    std::recursive_mutex controlLock;
    // Under controlLock: set once the registry has let go of the record, so
    // that a change that was waiting for the lock does nothing.
    bool removed = false;

    // The host may register a callback while frames and packets arrive on
    // capture threads: each pair changes and is called under its own lock.
    zCritical callbackLock;
    QCP_SourceChangedCallback sourceChangedCallback = nullptr;
    void* sourceChangedContext = nullptr;
    QCP_VideoDataCallback videoCallback = nullptr;
    void* videoContext = nullptr;
    QCP_VideoBuffer videoBuffer{};
    QCP_AudioDataCallback audioCallback = nullptr;
    void* audioContext = nullptr;
    QCP_AudioBuffer audioBuffer{};
    std::unique_ptr<MacCaptureSource> source;
    std::atomic<int32_t> captureType{kCaptureDisplay};
    std::atomic<bool> showCursor{true};
    std::atomic<bool> captureAudio{false}; // read on the audio thread
    std::atomic<bool> captureVideo{true};
    std::atomic<int32_t> windowID{0};
    std::atomic<bool> windowCaptureFullscreen{false};
    std::atomic<uint32_t> displayID{0};
    std::atomic<int32_t> displayIndex{0};
    std::atomic<eCaptureMode> captureMode{kCaptureWholeDisplay};

private:
    // Marks the calling thread as inside one of this record's host callbacks.
    class DeliveryScope;
    static thread_local const MacCaptureSourceSDKInfo* tDelivering;

    mutable std::mutex fRegionLock;
    zRect fRegion;
};

} // namespace MC
