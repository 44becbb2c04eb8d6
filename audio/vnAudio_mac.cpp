#include "vnAudio_mac.h"

#include "CaptureDriver.h"
#include "VNAudioDriverManager.h"
#include "vnAudioHelper.h"
#include "vnAudioRouting.h"
#include "vnOstrelAudioCaptureRecorder.h"
#include "vnSpeakerCaptureController.h"
#include "zMessages.h"
#include "zTime.h"

namespace {

// How the engine waits for the routing to settle before capture begins.
constexpr int64_t kSettlePollMicros = 100'000;
constexpr int kSettlePolls = 10;

} // namespace

vnAudio_mac::vnAudio_mac() = default;

vnAudio_mac::~vnAudio_mac() {
    if (fRing) fRing->Release();
}

void vnAudio_mac::Start() {
    zLocker lock(*fLock);
    if (fStartCount++ != 0) return;
    // The count stays up when the driver is unusable, so that the caller's
    // Stop balances it.
    if (!VNAudioDriverManager::isInstalled()) {
        zUserLogError("System Audio Capture: Failed to start because the audio driver is not installed. Install the "
                      "audio driver and reopen the document.");
        return;
    }
    if (VNAudioDriverManager::needsUpdate()) {
        zUserLogError("System Audio Capture: Failed to start because the audio driver needs to be updated. Update "
                      "the audio driver and reopen the document.");
        return;
    }
    fSavedSystemOutput = vnAudioHelper_GetSystemOutput();
    fSavedSystemSoundsOutput = vnAudioRouting_GetSystemSoundsOutput();
    fRecordingDevice = vnAudioHelper_GetDeviceID(kCaptureDriverRecordedFromUID);
    const AudioObjectID captureDevice = vnAudioHelper_GetDeviceID(kCaptureDriverPlayedIntoUID);
    if (fSavedSystemOutput != kAudioObjectUnknown &&
        (fSavedSystemOutput == fRecordingDevice || fSavedSystemOutput == captureDevice)) {
        // An earlier run left the routing on the driver.
        vnAudioRouting_RepairOutputs();
        fSavedSystemOutput = vnAudioHelper_GetSystemOutput();
        fSavedSystemSoundsOutput = vnAudioRouting_GetSystemSoundsOutput();
    }
    vnAudioRouting_SetCanBeDefault(captureDevice, false);
    vnAudioHelper_SetDeviceVisibility(captureDevice, false);
    vnAudioRouting_TidyAggregate(fSavedSystemOutput);
    fSavedSystemOutput = vnAudioHelper_GetSystemOutput();
    if (!StartRecording()) {
        Stop();
        return;
    }
    vnSpeakerCaptureController* speakers = vnSpeakerCaptureController::SharedController();
    speakers->SetSystemOutputDeviceID(fSavedSystemOutput);
    speakers->Start();
}

bool vnAudio_mac::StartRecording() {
    // Held from before the recorder exists until the ring does, so that no
    // block is stored before there is a ring to take it.
    std::unique_lock ringLock(fRingLock);
    fRecorder = std::make_shared<vnOstrelAudioCaptureRecorder>(fRecordingDevice, false, *this);
    if (fRecorder->PrepareToRecord() == -1) {
        ringLock.unlock();
        zUserLogError("System Audio Capture: Failed to prepare for recording.");
        return false;
    }
    for (int poll = 0; !fRecorder->IsPrepareFinished() && poll < kSettlePolls; ++poll)
        zTime::SleepUntil(zTime::MicroNow() + kSettlePollMicros);
    double rate = 0;
    unsigned int channels = 0;
    if (fRecorder->BeginCapture(&rate, &channels) == -1) {
        ringLock.unlock();
        zUserLogError("System Audio Capture: Failed to begin capture.");
        return false;
    }
    fSampleRate = rate;
    fChannels = static_cast<uint8_t>(channels);
    // Two seconds of 4-byte samples.
    fRing = new vnCircularBuffer(static_cast<unsigned int>(rate * 2 * channels * 4));
    fRing->SetAllowOverwriting(false);
    fPacketBuffer = std::make_unique<uint8_t[]>(fRing->BufferSizeInBytes());
    return true;
}

void vnAudio_mac::Stop() {
    zLocker lock(*fLock);
    if (fStartCount == 0 || --fStartCount != 0) return;
    if (fRecorder) {
        fRecorder->StopCapture();
        fRecorder.reset();
    }
    {
        std::lock_guard ringLock(fRingLock);
        if (fRing) fRing->Release();
        fRing = nullptr;
        fPacketBuffer.reset();
    }
    RestoreOutputs();
    vnSpeakerCaptureController::SharedController()->Stop();
}

void vnAudio_mac::RestoreOutputs() {
    if (fRecordingDevice == kAudioObjectUnknown) return;
    if (fSavedSystemOutput != kAudioObjectUnknown && vnAudioHelper_GetSystemOutput() == fRecordingDevice)
        vnAudioRouting_SetSystemOutput(fSavedSystemOutput);
    if (fSavedSystemSoundsOutput != kAudioObjectUnknown && vnAudioRouting_GetSystemSoundsOutput() == fRecordingDevice)
        vnAudioRouting_SetSystemSoundsOutput(fSavedSystemSoundsOutput);
}

void vnAudio_mac::ProcessAudioData(double, unsigned long long hostTime, void* data, int size) {
    if (!data || size <= 0) return;
    std::unique_lock ringLock(fRingLock, std::try_to_lock);
    if (!ringLock || !fRing) return;
    fRing->WriteData(data, static_cast<unsigned int>(size));
    fLastHostTime = hostTime;
}
