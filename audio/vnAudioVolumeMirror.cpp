#include "vnAudioVolumeMirror.h"

#include <cstdint>

#include "vnAudioHelper.h"
#include "zMessages.h"

namespace {

constexpr AudioObjectPropertyAddress kVolume{kAudioDevicePropertyVolumeScalar, kAudioObjectPropertyScopeOutput,
                                             kAudioObjectPropertyElementMain};
constexpr AudioObjectPropertyAddress kMute{kAudioDevicePropertyMute, kAudioObjectPropertyScopeOutput,
                                           kAudioObjectPropertyElementMain};

bool Refused(const char* operation, AudioObjectID device) {
    if (device != kAudioObjectUnknown) return false;
    zTrace("{}: refused device id 0; nothing changed.\n", operation);
    return true;
}

OSStatus Traced(OSStatus status, const char* what, AudioObjectID device) {
    if (status != noErr)
        zTrace("System Audio Capture: Failed to {} (device id: {}). {}", what, device,
               vnAudioHelper_DescriptionForError(status));
    return status;
}

// The target device rides in the client data, so that the pair given to
// AddListener names the registration RemoveListener takes away.
void* Target(AudioObjectID outputDevice) { return reinterpret_cast<void*>(uintptr_t{outputDevice}); }

// Copies whichever of volume and mute changed on `capture` to the target.
OSStatus Mirror(AudioObjectID capture, UInt32 count, const AudioObjectPropertyAddress* addresses, void* clientData) {
    const auto target = static_cast<AudioObjectID>(reinterpret_cast<uintptr_t>(clientData));
    for (UInt32 i = 0; i < count; ++i) {
        if (addresses[i].mSelector == kAudioDevicePropertyVolumeScalar) {
            Float32 volume = 0;
            if (Volume_Get(capture, volume) == noErr) Volume_Set(target, volume);
        } else if (addresses[i].mSelector == kAudioDevicePropertyMute) {
            bool muted = false;
            if (Mute_Get(capture, muted) == noErr) Mute_Set(target, muted);
        }
    }
    return noErr;
}

OSStatus AddMirror(const char* operation, const AudioObjectPropertyAddress& address, AudioObjectID captureDevice,
                   AudioObjectID outputDevice) {
    if (Refused(operation, captureDevice) || Refused(operation, outputDevice)) return kAudioHardwareBadDeviceError;
    return Traced(AudioObjectAddPropertyListener(captureDevice, &address, &Mirror, Target(outputDevice)),
                  "listen to the capture device", captureDevice);
}

OSStatus RemoveMirror(const char* operation, const AudioObjectPropertyAddress& address, AudioObjectID captureDevice,
                      AudioObjectID outputDevice) {
    if (Refused(operation, captureDevice) || Refused(operation, outputDevice)) return kAudioHardwareBadDeviceError;
    return Traced(AudioObjectRemovePropertyListener(captureDevice, &address, &Mirror, Target(outputDevice)),
                  "stop listening to the capture device", captureDevice);
}

} // namespace

OSStatus Volume_Get(AudioObjectID device, Float32& volume) {
    if (Refused("Volume_Get", device)) return kAudioHardwareBadDeviceError;
    UInt32 size = sizeof volume;
    return Traced(AudioObjectGetPropertyData(device, &kVolume, 0, nullptr, &size, &volume), "get volume", device);
}

OSStatus Volume_Set(AudioObjectID device, Float32 volume) {
    if (Refused("Volume_Set", device)) return kAudioHardwareBadDeviceError;
    return Traced(AudioObjectSetPropertyData(device, &kVolume, 0, nullptr, sizeof volume, &volume), "set volume",
                  device);
}

OSStatus Mute_Get(AudioObjectID device, bool& muted) {
    if (Refused("Mute_Get", device)) return kAudioHardwareBadDeviceError;
    UInt32 value = 0;
    UInt32 size = sizeof value;
    const OSStatus status =
        Traced(AudioObjectGetPropertyData(device, &kMute, 0, nullptr, &size, &value), "get mute", device);
    if (status == noErr) muted = value != 0;
    return status;
}

OSStatus Mute_Set(AudioObjectID device, bool muted) {
    if (Refused("Mute_Set", device)) return kAudioHardwareBadDeviceError;
    const UInt32 value = muted ? 1 : 0;
    return Traced(AudioObjectSetPropertyData(device, &kMute, 0, nullptr, sizeof value, &value), "set mute", device);
}

OSStatus Volume_AddListener(AudioObjectID captureDevice, AudioObjectID outputDevice) {
    return AddMirror("Volume_AddListener", kVolume, captureDevice, outputDevice);
}

OSStatus Mute_AddListener(AudioObjectID captureDevice, AudioObjectID outputDevice) {
    return AddMirror("Mute_AddListener", kMute, captureDevice, outputDevice);
}

OSStatus Volume_RemoveListener(AudioObjectID captureDevice, AudioObjectID outputDevice) {
    return RemoveMirror("Volume_RemoveListener", kVolume, captureDevice, outputDevice);
}

OSStatus Mute_RemoveListener(AudioObjectID captureDevice, AudioObjectID outputDevice) {
    return RemoveMirror("Mute_RemoveListener", kMute, captureDevice, outputDevice);
}
