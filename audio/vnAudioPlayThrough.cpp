#include "vnAudioPlayThrough.h"

#include "CAPlayThroughHost.h"
#include "vnAudioHelper.h"

namespace {
// The capture driver's recorded-from device.
constexpr const char* kRecordedFromUID = "7F6B3A10-2C5D-4E8A-9B21-D4C6E8F0A2B7";
} // namespace

vnAudioPlayThrough::~vnAudioPlayThrough() { Stop(); }

OSStatus vnAudioPlayThrough::StartOutputTo(AudioDeviceID output) {
    Stop();
    // The driver's second device carries what the computer plays.
    fInputDeviceID = vnAudioHelper_GetDeviceID(kRecordedFromUID);
    fOutputDeviceID = output;
    if (fInputDeviceID == 0 || fOutputDeviceID == 0) return kAudio_ParamError;
    fHost = std::make_shared<CAPlayThroughHost>(fInputDeviceID, fOutputDeviceID);
    return fHost->PlayThroughExists() ? fHost->Start() : noErr;
}

void vnAudioPlayThrough::Stop() { fHost.reset(); }

AudioDeviceID vnAudioPlayThrough::CurrentSystemOutputDevice() const { return vnAudioHelper_GetSystemOutput(); }
