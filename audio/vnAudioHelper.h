#pragma once
#include <CoreAudio/CoreAudio.h>
#include <CoreFoundation/CoreFoundation.h>

#include <string>

// The device look-ups the whole capture chain shares, over the HAL. None
// keeps state or throws; each may run on any thread. A failure is traced
// ("System Audio Capture: " ... ". " and the status's description) and
// answered with 0, false or an empty string.

// The device with `uid`; 0 when none has it, or for a null uid (without
// asking the HAL).
AudioObjectID vnAudioHelper_GetDeviceID(const char* uid);
// Shows or hides one of the capture driver's devices; false for device 0.
bool vnAudioHelper_SetDeviceVisibility(AudioObjectID device, bool visible);
// The default output device.
AudioObjectID vnAudioHelper_GetSystemOutput();
// The first device in the system's order that has output streams, never the
// capture driver's played-into device.
AudioObjectID vnAudioHelper_GetFirstOutputDevice();
// The device's name, UTF-8.
std::string vnAudioHelper_GetNameForDevice(AudioObjectID device);
// The CoreAudio plug-in, which makes aggregate devices.
AudioObjectID vnAudioHelper_GetCoreAudioPluginID();
// A new capture aggregate over `subDevice`, with the fixed name and UID
// (the two strings are not used); 0 when `subDevice` is 0 or the plug-in
// cannot be found or refuses. A half-made aggregate is the caller's to
// destroy.
AudioObjectID vnAudioHelper_CreateAggregateDevice(AudioObjectID subDevice, CFStringRef name, CFStringRef uid);
// A sentence for a HAL or audio-unit status; other codes as "(code)".
std::string vnAudioHelper_DescriptionForError(int code);

// The capture aggregate's name and UID.
inline constexpr const char* kCaptureAggregateName = "Ostrel Audio Capture Aggregate";
inline constexpr const char* kCaptureAggregateUID = "com.ostrel.audio-capture-aggregate";
