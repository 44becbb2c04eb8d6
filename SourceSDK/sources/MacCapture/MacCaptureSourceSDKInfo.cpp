#include "MacCaptureSourceSDKInfo.h"

#include <algorithm>
#include <utility>

#include "CaptureWindowMonitor.h"
#include "MacSystemAudio/AudioPacket.h"

namespace MC {

MacCaptureSourceSDKInfo::MacCaptureSourceSDKInfo(std::unique_ptr<MacCaptureSource> captureSource)
    : source(std::move(captureSource)) {}

namespace {
// Silence is delivered from one shared block of zeros, so a muted or
// malformed packet costs no allocation and no stack sized by the packet.
// It holds a whole packet of up to eight channels.
constexpr size_t kSilenceBytes = 8 * 3600;
constexpr unsigned char kSilence[kSilenceBytes] = {};
} // namespace

thread_local const MacCaptureSourceSDKInfo* MacCaptureSourceSDKInfo::tDelivering = nullptr;

class MacCaptureSourceSDKInfo::DeliveryScope {
public:
    explicit DeliveryScope(const MacCaptureSourceSDKInfo* record) : fOuter(std::exchange(tDelivering, record)) {}
    ~DeliveryScope() { tDelivering = fOuter; }
    DeliveryScope(const DeliveryScope&) = delete;
    DeliveryScope& operator=(const DeliveryScope&) = delete;

private:
    const MacCaptureSourceSDKInfo* const fOuter;
};

MacCaptureSourceSDKInfo::~MacCaptureSourceSDKInfo() {
    _CaptureWindowMonitor::StopMonitorThreadForSourceID(source->sourceID());
    // The source goes first: once it is gone no capture thread calls in.
    source.reset();
    clearCallbacks();
}

void MacCaptureSourceSDKInfo::clearCallbacks() {
    zLocker lock(callbackLock);
    sourceChangedCallback = nullptr;
    videoCallback = nullptr;
    audioCallback = nullptr;
}

void MacCaptureSourceSDKInfo::ProcessAudioData(void* data, int size) {
    const size_t rounded = size_t(std::max(RoundToWholeFrames(size), 0));
    // A malformed packet and a muted source both become silence of the right
    // length rather than a gap; silence longer than the shared block goes out
    // in whole-frame pieces of it.
    const bool silent = rounded != size_t(size) || !captureAudio.load(std::memory_order_relaxed);
    zLocker lock(callbackLock);
    const DeliveryScope delivering(this);
    WriteAudioPacketHeader(audioBuffer);
    size_t sent = 0;
    do {
        const size_t piece = silent ? std::min(rounded - sent, kSilenceBytes) : rounded;
        audioBuffer.dataBytes = uint32_t(piece);
        audioBuffer.data = silent ? const_cast<unsigned char*>(kSilence) : data;
        if (audioCallback && audioContext) audioCallback(audioContext, &audioBuffer);
        sent += piece;
    } while (sent < rounded);
}

void MacCaptureSourceSDKInfo::receivedScreenFrame(int, int, unsigned long long time,
                                                  qcp::platform::Surface* surface) {
    if (!surface) return;
    zLocker lock(callbackLock);
    const DeliveryScope delivering(this);
    const qcp::platform::SurfaceProperties& properties = surface->properties();
    videoBuffer.format = QCP_VIDEO_FORMAT_IOSURFACE;
    videoBuffer.width = properties.width;
    videoBuffer.height = properties.height;
    videoBuffer.bytesPerRow = properties.bytesPerRow;
    videoBuffer.elementAspect = float(properties.elementWidth) / float(properties.elementHeight);
    videoBuffer.timeStamp = time;
    videoBuffer.one = 1;
    // The id lives on this stack frame, which outlasts the callback.
    uint32_t surfaceID = surface->id();
    videoBuffer.surfaceId = &surfaceID;
    if (videoCallback && videoContext) videoCallback(videoContext, &videoBuffer);
    videoBuffer.surfaceId = nullptr;
}

void MacCaptureSourceSDKInfo::NotifySourceSettingsChanged() {
    zLocker lock(callbackLock);
    const DeliveryScope delivering(this);
    if (sourceChangedCallback && sourceChangedContext)
        sourceChangedCallback(sourceChangedContext, QCP_EVENT_SETTINGS_CHANGED);
}

void MacCaptureSourceSDKInfo::enableRegionCapture(const zRect* newRegion) {
    if (newRegion) setRegion(*newRegion);
    captureMode = kCaptureRegion;
}

zRect MacCaptureSourceSDKInfo::getRegion() const {
    std::lock_guard lock(fRegionLock);
    return fRegion;
}

void MacCaptureSourceSDKInfo::setRegion(const zRect& region) {
    std::lock_guard lock(fRegionLock);
    fRegion = region;
}

} // namespace MC
