#include "vnSpeakerCaptureController.h"

#include <algorithm>
#include <vector>

#include "vnAudioHelper.h"
#include "vnAudioPlayThrough.h"
#include "vnAudioTrace.h"
#include "zMessages.h"

namespace {

// The capture driver's played-into device, which the system output is
// routed to while capturing.
constexpr const char* kCaptureDeviceUID = "5C0D2E71-8A4B-4F36-B1C9-2E7D90A4F6B3";

constexpr AudioObjectPropertyAddress kDefaultOutput{kAudioHardwarePropertyDefaultOutputDevice,
                                                    kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMain};
constexpr AudioObjectPropertyAddress kDevices{kAudioHardwarePropertyDevices, kAudioObjectPropertyScopeGlobal,
                                              kAudioObjectPropertyElementMain};

} // namespace

vnSpeakerCaptureController* vnSpeakerCaptureController::SharedController() {
    static auto* controller = new vnSpeakerCaptureController();
    return controller;
}

void vnSpeakerCaptureController::SetSystemOutputDeviceID(AudioDeviceID device) {
    std::lock_guard lock(fMutex);
    fSystemOutputDeviceID = device;
}

bool vnSpeakerCaptureController::SetupOstrelAudioCaptureDeviceID() {
    std::lock_guard lock(fMutex);
    fCaptureDeviceID = vnAudioHelper_GetDeviceID(kCaptureDeviceUID);
    return vnAudioHelper_SetDeviceVisibility(fCaptureDeviceID, true);
}

OSStatus vnSpeakerCaptureController::SetupDefaultAudioOutputListener() {
    return AudioObjectAddPropertyListener(kAudioObjectSystemObject, &kDefaultOutput, &OnAudioOutputDeviceChanged,
                                          this);
}

OSStatus vnSpeakerCaptureController::RemoveDefaultAudioOutputListener() {
    return AudioObjectRemovePropertyListener(kAudioObjectSystemObject, &kDefaultOutput, &OnAudioOutputDeviceChanged,
                                             this);
}

OSStatus vnSpeakerCaptureController::SetupDeviceListener() {
    return AudioObjectAddPropertyListener(kAudioObjectSystemObject, &kDevices, &OnDeviceListChanged, this);
}

void vnSpeakerCaptureController::Start() {
    std::lock_guard startStop(fStartStopMutex);
    std::lock_guard lock(fMutex);
    if (fStartCount >= 1) {
        ++fStartCount;
        return;
    }
    fPlayThrough = std::make_shared<vnAudioPlayThrough>();

    if (!SetupOstrelAudioCaptureDeviceID() || fCaptureDeviceID == 0) {
        zUserLogError("System Audio Capture: Failed to enable Core Audio capture driver.");
        fPlayThrough.reset();
        return;
    }
    if (fSystemOutputDeviceID == 0 || fSystemOutputDeviceID == fCaptureDeviceID) {
        fSystemOutputDeviceID = vnAudioHelper_GetFirstOutputDevice();
        if (fSystemOutputDeviceID == 0) {
            fPlayThrough.reset();
            zUserLog("System Audio Capture: Unable to send audio to speakers due to a misconfigured device identifier.");
            return;
        }
    }
    if (fSystemOutputDeviceID == fCaptureDeviceID) {
        fPlayThrough.reset();
        zUserLog("System Audio Capture: Unable to start without an audio output device. Try relaunching Pellory.");
        return;
    }

    fPlayThroughOutputDeviceID = fSystemOutputDeviceID;
    fPlayThroughDeviceName = vnAudioHelper_GetNameForDevice(fPlayThroughOutputDeviceID);
    if (fPlayThroughDeviceName.empty())
        zTrace("System Audio Capture: Unable to get name of audio play through device.\n");

    if (const OSStatus status = SetupDefaultAudioOutputListener()) {
        zUserLog("System Audio Capture: Unable to monitor for changes to default audio output. Do not change the "
                 "audio output device while capturing.");
        vnAudioTraceFailure(status, "System Audio Capture: Unable to monitor for changes to default audio output. ");
    }
    if (const OSStatus status = SetupDeviceListener())
        vnAudioTraceFailure(status, "System Audio Capture: Unable to monitor for changes to audio output device list. ");

    if (fCaptureDeviceID != 0 && fCaptureDeviceID != fPlayThroughOutputDeviceID) {
        if (const OSStatus status = fPlayThrough->StartOutputTo(fPlayThroughOutputDeviceID)) {
            zUserLog("System Audio Capture: Unable to send audio to speakers.");
            vnAudioTraceFailure(status, "System Audio Capture: Unable to send audio to speakers. ");
        }
    }
    ++fStartCount;
}

void vnSpeakerCaptureController::Stop() {
    std::lock_guard startStop(fStartStopMutex);
    std::shared_ptr<vnAudioPlayThrough> playThrough;
    {
        std::lock_guard lock(fMutex);
        const int count = fStartCount;
        // A Stop without a Start still tears down, but leaves no debt.
        fStartCount = std::max(count - 1, 0);
        if (count > 1) return;
        playThrough = std::move(fPlayThrough);
        fPlayThroughDeviceName.clear();
        fCaptureDeviceID = 0;
        fSystemOutputDeviceID = 0;
        fPlayThroughOutputDeviceID = 0;
    }
    // Unlocked: stopping removes the host's listeners and the removal below
    // a listener; each waits for a listener running, which may be waiting
    // for the lock. The device-list listener stays; it does nothing while
    // idle.
    if (playThrough) playThrough->Stop();
    if (const OSStatus status = RemoveDefaultAudioOutputListener())
        zTrace("System Audio Capture: Unable to remove default audio output listener. {}\n",
               vnAudioHelper_DescriptionForError(status));
}

void vnSpeakerCaptureController::DeviceListChanged() {
    std::lock_guard lock(fMutex);
    if (fPlayThroughOutputDeviceID == 0) return;

    UInt32 size = 0;
    if (AudioObjectGetPropertyDataSize(kAudioObjectSystemObject, &kDevices, 0, nullptr, &size) != noErr) return;
    std::vector<AudioObjectID> devices(size / sizeof(AudioObjectID));
    if (AudioObjectGetPropertyData(kAudioObjectSystemObject, &kDevices, 0, nullptr, &size, devices.data()) != noErr)
        return;
    devices.resize(size / sizeof(AudioObjectID));
    if (std::find(devices.begin(), devices.end(), fPlayThroughOutputDeviceID) != devices.end()) return;

    // The output went away: forward to the first output left.
    if (fPlayThrough) fPlayThrough->Stop();
    const AudioDeviceID replacement = vnAudioHelper_GetFirstOutputDevice();
    fPlayThroughOutputDeviceID = replacement;
    const std::string name = vnAudioHelper_GetNameForDevice(replacement);
    zUserLog("System Audio Capture: The device '{}' was disconnected. Will send audio to '{}' instead.",
             fPlayThroughDeviceName, name);
    fPlayThroughDeviceName = name;

    if (!fPlayThrough) {
        zUserLog("System Audio Capture: Unable to send audio to new output device due to a bad state. Try recreating "
                 "the shot.");
        return;
    }
    if (const OSStatus status = fPlayThrough->StartOutputTo(replacement)) {
        zUserLog("System Audio Capture: Unable to send audio to new output device ('{}').", fPlayThroughDeviceName);
        vnAudioTraceFailure(status, "System Audio Capture: Unable to send audio to new output device ('{}'). ",
                            fPlayThroughDeviceName);
    }
}

void vnSpeakerCaptureController::DefaultAudioOutputChanged() {
    std::lock_guard lock(fMutex);
    // The driver may have been reloaded, with a new id.
    const AudioDeviceID capture = vnAudioHelper_GetDeviceID(kCaptureDeviceUID);
    if (fCaptureDeviceID != capture) {
        fCaptureDeviceID = capture;
        vnAudioHelper_SetDeviceVisibility(capture, true);
    }
    if (!fPlayThrough) {
        zUserLog("System Audio Capture: Unable to send audio to newly selected output device due to a bad state. Try "
                 "recreating the shot.");
        return;
    }
    // Capture routing the default output to its own device keeps the
    // output already chosen.
    const AudioDeviceID output = vnAudioHelper_GetSystemOutput();
    if (output != fCaptureDeviceID) {
        fPlayThroughOutputDeviceID = output;
        fPlayThroughDeviceName = vnAudioHelper_GetNameForDevice(output);
        if (fPlayThroughDeviceName.empty())
            zTrace("System Audio Capture: DefaultAudioOutputChanged: Unable to get name of new audio play through "
                   "device.\n");
    }
    fPlayThrough->Stop();
    if (fPlayThrough->StartOutputTo(fPlayThroughOutputDeviceID) != noErr)
        zUserLog("System Audio Capture: Unable to send audio to newly selected output device ('{}').",
                 fPlayThroughDeviceName);
}

OSStatus vnSpeakerCaptureController::OnAudioOutputDeviceChanged(AudioObjectID, UInt32,
                                                                const AudioObjectPropertyAddress*, void* clientData) {
    if (!clientData) return kAudio_ParamError;
    static_cast<vnSpeakerCaptureController*>(clientData)->DefaultAudioOutputChanged();
    return noErr;
}

OSStatus vnSpeakerCaptureController::OnDeviceListChanged(AudioObjectID, UInt32, const AudioObjectPropertyAddress*,
                                                         void* clientData) {
    if (!clientData) return kAudio_ParamError;
    static_cast<vnSpeakerCaptureController*>(clientData)->DeviceListChanged();
    return noErr;
}

int vnSpeakerCaptureController::StartCount() const {
    std::lock_guard lock(fMutex);
    return fStartCount;
}

AudioDeviceID vnSpeakerCaptureController::PlayThroughOutputDeviceID() const {
    std::lock_guard lock(fMutex);
    return fPlayThroughOutputDeviceID;
}

std::string vnSpeakerCaptureController::PlayThroughDeviceName() const {
    std::lock_guard lock(fMutex);
    return fPlayThroughDeviceName;
}

std::shared_ptr<vnAudioPlayThrough> vnSpeakerCaptureController::PlayThrough() const {
    std::lock_guard lock(fMutex);
    return fPlayThrough;
}

std::shared_ptr<CAPlayThroughHost> vnSpeakerCaptureController::PlayThroughHost() const {
    std::lock_guard lock(fMutex);
    return fPlayThrough ? fPlayThrough->Host() : nullptr;
}

AudioDeviceID vnSpeakerCaptureController::ForwardedToDeviceID() const {
    std::lock_guard lock(fMutex);
    return fPlayThrough ? fPlayThrough->OutputDeviceID() : 0;
}
