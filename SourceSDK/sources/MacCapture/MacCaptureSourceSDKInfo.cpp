#include "MacCaptureSourceSDKInfo.h"

#include <alloca.h>
#include <cstring>

#include "CaptureWindowMonitor.h"
#include "MacSystemAudio/AudioPacket.h"

namespace MC {

MacCaptureSourceSDKInfo::MacCaptureSourceSDKInfo(std::unique_ptr<MacCaptureSource> captureSource)
    : source(std::move(captureSource)) {}

MacCaptureSourceSDKInfo::~MacCaptureSourceSDKInfo() {
    _CaptureWindowMonitor::StopMonitorThreadForSourceID(source->sourceID());
    source.reset();
    zLocker lock(callbackLock);
    sourceChangedCallback = nullptr;
    videoCallback = nullptr;
    audioCallback = nullptr;
}

void MacCaptureSourceSDKInfo::ProcessAudioData(void* data, int size) {
    const int rounded = RoundToWholeFrames(size);
    if (rounded != size || !captureAudio.load(std::memory_order_relaxed)) {
        // A malformed packet and a muted source both become silence of the
        // right length rather than a gap. The block lives on the stack: no
        // allocation on the audio thread.
        data = alloca(size_t(rounded > 0 ? rounded : 0) + 1);
        std::memset(data, 0, size_t(rounded > 0 ? rounded : 0));
    }
    zLocker lock(callbackLock);
    WriteAudioPacketHeader(audioBuffer);
    audioBuffer.dataBytes = uint32_t(rounded > 0 ? rounded : 0);
    audioBuffer.data = data;
    if (audioCallback && audioContext) audioCallback(audioContext, &audioBuffer);
}

void MacCaptureSourceSDKInfo::receivedScreenFrame(int, int, unsigned long long time,
                                                  qcp::platform::Surface* surface) {
    if (!surface) return;
    zLocker lock(callbackLock);
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
    if (sourceChangedCallback && sourceChangedContext)
        sourceChangedCallback(sourceChangedContext, QCP_EVENT_SETTINGS_CHANGED);
}

void MacCaptureSourceSDKInfo::enableRegionCapture(const zRect* newRegion) {
    captureMode = kCaptureRegion;
    if (newRegion) region = *newRegion;
}

} // namespace MC
