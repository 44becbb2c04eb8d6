#include "vnAudioRouting.h"

#include "CaptureDriver.h"
#include "vnAudioTrace.h"
#include "zTime.h"

namespace {

// How long the HAL is given to settle an aggregate made or destroyed.
constexpr int64_t kAggregateSettleMicros = 62'500;

AudioObjectPropertyAddress Global(AudioObjectPropertySelector selector) {
    return {selector, kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMain};
}

OSStatus SetDefault(AudioObjectPropertySelector selector, AudioObjectID device) {
    const AudioObjectPropertyAddress address = Global(selector);
    return AudioObjectSetPropertyData(kAudioObjectSystemObject, &address, 0, nullptr, sizeof device, &device);
}

// Destroys an aggregate through the CoreAudio plug-in.
OSStatus DestroyAggregate(AudioObjectID aggregate) {
    const AudioObjectPropertyAddress address = Global(kAudioPlugInDestroyAggregateDevice);
    UInt32 size = sizeof aggregate;
    return AudioObjectGetPropertyData(vnAudioHelper_GetCoreAudioPluginID(), &address, 0, nullptr, &size, &aggregate);
}

void Pause(int64_t micros) { zTime::SleepUntil(zTime::MicroNow() + micros); }

} // namespace

AudioObjectID vnAudioRouting_GetSystemSoundsOutput() {
    AudioObjectID device = kAudioObjectUnknown;
    UInt32 size = sizeof device;
    const AudioObjectPropertyAddress address = Global(kAudioHardwarePropertyDefaultSystemOutputDevice);
    if (const OSStatus status =
            AudioObjectGetPropertyData(kAudioObjectSystemObject, &address, 0, nullptr, &size, &device)) {
        vnAudioTraceFailure(status, "System Audio Capture: Failed to get system sounds output device identifier. ");
        return kAudioObjectUnknown;
    }
    return device;
}

void vnAudioRouting_SetSystemOutput(AudioObjectID device) {
    if (const OSStatus status = SetDefault(kAudioHardwarePropertyDefaultOutputDevice, device))
        vnAudioTraceFailure(status, "System Audio Capture: Failed to set system output. ");
}

void vnAudioRouting_SetSystemSoundsOutput(AudioObjectID device) {
    if (const OSStatus status = SetDefault(kAudioHardwarePropertyDefaultSystemOutputDevice, device))
        vnAudioTraceFailure(status, "System Audio Capture: Failed to set system sounds output. ");
}

void vnAudioRouting_RouteOutputsTo(AudioObjectID device) {
    vnAudioRouting_SetSystemOutput(device);
    vnAudioRouting_SetSystemSoundsOutput(device);
}

void vnAudioRouting_RepairOutputs() {
    if (const AudioObjectID first = vnAudioHelper_GetFirstOutputDevice()) vnAudioRouting_RouteOutputsTo(first);
}

void vnAudioRouting_SetCanBeDefault(AudioObjectID device, bool canBeDefault) {
    const AudioObjectPropertyAddress address = Global(kCaptureDriverPropertyCanBeDefault);
    const CFBooleanRef value = canBeDefault ? kCFBooleanTrue : kCFBooleanFalse;
    if (const OSStatus status = AudioObjectSetPropertyData(device, &address, 0, nullptr, sizeof value, &value))
        vnAudioTraceFailure(status, "System Audio Capture: Failed to set device (id: {}) default ability to {}. ",
                            device, canBeDefault);
}

void vnAudioRouting_TidyAggregate(AudioObjectID subDevice) {
    AudioObjectID aggregate = vnAudioHelper_CreateAggregateDevice(subDevice, nullptr, nullptr);
    if (aggregate == kAudioObjectUnknown) {
        // One left by an earlier run holds the UID.
        if (const AudioObjectID stale = vnAudioHelper_GetDeviceID(kCaptureAggregateUID)) {
            if (const OSStatus status = DestroyAggregate(stale))
                vnAudioTraceFailure(status, "System Audio Capture: Failed to destroy aggregate device. ");
            Pause(kAggregateSettleMicros);
            aggregate = vnAudioHelper_CreateAggregateDevice(subDevice, nullptr, nullptr);
        }
    }
    Pause(kAggregateSettleMicros);
    DestroyAggregate(aggregate);
}
