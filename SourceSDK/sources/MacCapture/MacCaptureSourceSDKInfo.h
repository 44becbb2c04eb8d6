#pragma once
#include <atomic>
#include <cstdint>
#include <memory>

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
class MacCaptureSourceSDKInfo final : public MacCaptureObserver {
public:
    explicit MacCaptureSourceSDKInfo(std::unique_ptr<MacCaptureSource> source);
    ~MacCaptureSourceSDKInfo() override;

    void ProcessAudioData(void* data, int size) override;
    // Fills the video record in place from the surface and hands it to the
    // host; frames without a surface are not delivered.
    void receivedScreenFrame(int width, int height, unsigned long long time,
                             qcp::platform::Surface* surface) override;

    // Tells the host that the source's settings changed ('kset').
    void NotifySourceSettingsChanged();

    void enableRegionCapture(const zRect* region);
    void disableRegionCapture() { captureMode = kCaptureWholeDisplay; }
    bool isCapturingRegion() const { return captureMode == kCaptureRegion; }
    eCaptureMode getCaptureMode() const { return captureMode; }

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
    int32_t captureType = kCaptureDisplay;
    bool showCursor = true;
    std::atomic<bool> captureAudio{false}; // read on the audio thread
    bool captureVideo = true;
    int32_t windowID = 0;
    bool windowCaptureFullscreen = false;
    uint32_t displayID = 0;
    int32_t displayIndex = 0;
    zRect region;
    eCaptureMode captureMode = kCaptureWholeDisplay;
};

} // namespace MC
