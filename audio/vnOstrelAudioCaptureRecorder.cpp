#include "vnOstrelAudioCaptureRecorder.h"

#include <CoreFoundation/CoreFoundation.h>

#include "CaptureDriver.h"
#include "vnAudioHelper.h"
#include "vnAudioOutput.h"
#include "vnAudioRouting.h"
#include "vnAudioTrace.h"
#include "vnAudioVolumeMirror.h"
#include "vnAudio_mac.h"
#include "zTime.h"

namespace {

// How long the system is given to move its playing back to the restored
// outputs before the volume is copied back.
constexpr int64_t kRestoreSettleMicros = 250'000;

AudioObjectPropertyAddress Global(AudioObjectPropertySelector selector) {
    return {selector, kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMain};
}

// The device's UID; empty when it cannot be read.
std::string DeviceUID(AudioObjectID device) {
    CFStringRef uid = nullptr;
    UInt32 size = sizeof uid;
    const AudioObjectPropertyAddress address = Global(kAudioDevicePropertyDeviceUID);
    if (const OSStatus status = AudioObjectGetPropertyData(device, &address, 0, nullptr, &size, &uid)) {
        vnAudioTraceFailure(status, "System Audio Capture: Failed to get UID for device (id: {}). ", device);
        return {};
    }
    if (!uid) return {};
    char text[256] = {};
    CFStringGetCString(uid, text, sizeof text, kCFStringEncodingUTF8);
    CFRelease(uid);
    return text;
}

// Copies volume and mute from one device to another, each only when read.
void CopyVolumeAndMute(AudioObjectID from, AudioObjectID to) {
    Float32 volume = 0;
    if (Volume_Get(from, volume) == noErr) Volume_Set(to, volume);
    bool muted = false;
    if (Mute_Get(from, muted) == noErr) Mute_Set(to, muted);
}

} // namespace

vnOstrelAudioCaptureRecorder::vnOstrelAudioCaptureRecorder(unsigned int deviceID, bool playThrough,
                                                           vnAudio_mac& engine)
    : vnCoreAudioRecorder(deviceID), fPlayThrough(playThrough), fEngine(engine) {}

vnOstrelAudioCaptureRecorder::~vnOstrelAudioCaptureRecorder() {
    // The unit must not deliver into what goes with this object.
    vnCoreAudioRecorder::StopCapture();
}

int vnOstrelAudioCaptureRecorder::PrepareToRecord() {
    std::lock_guard control(ControlMutex());
    if (const int result = InitializeCapture(&fSampleRate, &fChannels)) return result;
    fSavedSystemOutputUID.clear();
    fSavedSystemSoundsOutputUID.clear();
    const AudioObjectID systemOutput = vnAudioHelper_GetSystemOutput();
    vnAudioRouting_GetSystemSoundsOutput();
    fCaptureDevice = vnAudioHelper_GetDeviceID(kCaptureDriverPlayedIntoUID);
    if (fCaptureDevice == kAudioObjectUnknown) {
        zUserLog("System Audio Capture: Unable to capture audio because the Ostrel Audio Capture driver could not be "
                 "found.");
        return -1;
    }
    CFBooleanRef visible = nullptr;
    UInt32 size = sizeof visible;
    const AudioObjectPropertyAddress visibility = Global(kCaptureDriverPropertyVisible);
    if (const OSStatus status = AudioObjectGetPropertyData(fCaptureDevice, &visibility, 0, nullptr, &size, &visible))
        vnAudioTraceFailure(status, "System Audio Capture: Failed to get device (id: {}) visibility. ", fCaptureDevice);
    else
        fCaptureDeviceWasVisible = visible && CFBooleanGetValue(visible);
    vnAudioHelper_SetDeviceVisibility(fCaptureDevice, true);

    fRealOutput = ChooseRealOutput(systemOutput);
    if (fRealOutput == kAudioObjectUnknown) {
        zUserLog("System Audio Capture: Unable to capture audio because no audio output devices could be found.");
        return -1;
    }
    vnAudioRouting_SetCanBeDefault(fCaptureDevice, true);
    if (fPlayThrough) {
        fSpeakerOutput = std::make_unique<vnAudioOutput>();
        if (fSpeakerOutput->Start(fRealOutput, fClientFormat) != noErr) {
            zUserLog("System Audio Capture: Unable to forward audio to system output to device ('{}'). You won't "
                     "hear audio from speakers until you close the document.",
                     vnAudioHelper_GetNameForDevice(fRealOutput));
            fSpeakerOutput.reset();
        }
    }
    CopyVolumeAndMute(fRealOutput, fCaptureDevice);
    RouteToDriver();
    Volume_AddListener(fCaptureDevice, fRealOutput);
    Mute_AddListener(fCaptureDevice, fRealOutput);
    fReadyTime = zTime::MicroNow() + kSettleMicros;
    return StartInitializedAudioUnit();
}

AudioObjectID vnOstrelAudioCaptureRecorder::ChooseRealOutput(AudioObjectID systemOutput) {
    if (systemOutput != kAudioObjectUnknown && systemOutput != fCaptureDevice) return systemOutput;
    zTrace("vnOstrelAudioCaptureRecorder::PrepareToRecord: Unable to get system output. Using first output device "
           "instead.\n");
    return vnAudioHelper_GetFirstOutputDevice();
}

void vnOstrelAudioCaptureRecorder::RouteToDriver() {
    fSavedSystemSoundsOutputUID = DeviceUID(vnAudioRouting_GetSystemSoundsOutput());
    fSavedSystemOutputUID = DeviceUID(vnAudioHelper_GetSystemOutput());
    vnAudioRouting_SetSystemSoundsOutput(fCaptureDevice);
    vnAudioRouting_SetSystemOutput(fCaptureDevice);
    vnAudioRouting_GetSystemSoundsOutput();
    if (vnAudioHelper_GetSystemOutput() != fCaptureDevice) {
        zUserLog("System Audio Capture: Failed to route system audio to capture driver. System audio will not be "
                 "captured.");
        zTrace("vnOstrelAudioCaptureRecorder::BeginCapture : Cannot set output device to {}\n", fCaptureDevice);
    }
}

bool vnOstrelAudioCaptureRecorder::IsPrepareFinished() { return fReadyTime <= zTime::MicroNow(); }

int vnOstrelAudioCaptureRecorder::BeginCapture(double* sampleRate, unsigned int* channels) {
    std::lock_guard control(ControlMutex());
    if (sampleRate) *sampleRate = fSampleRate;
    if (channels) *channels = fChannels;
    return 0;
}

void vnOstrelAudioCaptureRecorder::StopCapture() {
    std::lock_guard control(ControlMutex());
    vnCoreAudioRecorder::StopCapture();
    StopSpeakerOutput();
    RestoreRouting();
}

void vnOstrelAudioCaptureRecorder::StopSpeakerOutput() {
    if (!fSpeakerOutput) return;
    if (const OSStatus status = fSpeakerOutput->Stop())
        vnAudioTraceFailure(status, "System Audio Capture: Unable to stop audio output unit. ");
    if (const OSStatus status = fSpeakerOutput->Uninitialize())
        vnAudioTraceFailure(status, "System Audio Capture: Unable to uninitialize the audio output unit. ");
    fSpeakerOutput->Dispose();
    {
        vnAudioOutputQueue& queue = fSpeakerOutput->Queue();
        std::lock_guard lock(queue.Mutex());
        queue.ClearAvailable();
    }
    fSpeakerOutput.reset();
}

void vnOstrelAudioCaptureRecorder::RestoreRouting() {
    // By UID: ids may have changed while capture ran.
    AudioObjectID restored = kAudioObjectUnknown;
    if (!fSavedSystemSoundsOutputUID.empty())
        vnAudioRouting_SetSystemSoundsOutput(vnAudioHelper_GetDeviceID(fSavedSystemSoundsOutputUID.c_str()));
    if (!fSavedSystemOutputUID.empty()) {
        restored = vnAudioHelper_GetDeviceID(fSavedSystemOutputUID.c_str());
        vnAudioRouting_SetSystemOutput(restored);
    }
    zTime::SleepUntil(zTime::MicroNow() + kRestoreSettleMicros);
    if (fCaptureDevice == kAudioObjectUnknown) return;
    Volume_RemoveListener(fCaptureDevice, fRealOutput);
    Mute_RemoveListener(fCaptureDevice, fRealOutput);
    if (restored != kAudioObjectUnknown) CopyVolumeAndMute(fCaptureDevice, restored);
    vnAudioRouting_SetCanBeDefault(fCaptureDevice, false);
    if (!fCaptureDeviceWasVisible) vnAudioHelper_SetDeviceVisibility(fCaptureDevice, false);
}

OSStatus vnOstrelAudioCaptureRecorder::AudioInputProc(unsigned int* ioActionFlags, const AudioTimeStamp* timeStamp,
                                                      unsigned int busNumber, unsigned int numberFrames,
                                                      AudioBufferList* ioData) {
    const OSStatus status =
        vnCoreAudioRecorder::AudioInputProc(ioActionFlags, timeStamp, busNumber, numberFrames, ioData);
    if (fSpeakerOutput && fRenderBuffer)
        fSpeakerOutput->Queue().Offer(fRenderBuffer->mBuffers[0].mData, fRenderBuffer->mBuffers[0].mDataByteSize);
    return status;
}

void vnOstrelAudioCaptureRecorder::Send(double sampleTime, unsigned long long hostTime, void* data, int size) {
    fEngine.ProcessAudioData(sampleTime, hostTime, data, size);
}
