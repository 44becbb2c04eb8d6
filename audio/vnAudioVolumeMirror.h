#pragma once
#include <CoreAudio/CoreAudio.h>

// Keeps the real output device's volume and mute in step with the capture
// driver's device while the system plays into the driver: the user turns the
// volume of the device that is now the default (the driver's), and hears the
// change on the speakers.
//
// Free functions over the HAL, keeping no state: a listener's target device
// travels as its client data, so adding and removing name the same
// registration. Any thread may call them. Each refuses device 0 (a trace
// line, status kAudioHardwareBadDeviceError, nothing read or changed);
// other failures are traced with the status's description and returned.
//
// Volume is the main element's output-scope volume scalar (0 to 1); mute is
// the main element's output-scope mute flag.
OSStatus Volume_Get(AudioObjectID device, Float32& volume);
OSStatus Volume_Set(AudioObjectID device, Float32 volume);
OSStatus Mute_Get(AudioObjectID device, bool& muted);
OSStatus Mute_Set(AudioObjectID device, bool muted);

// While registered, every change of `captureDevice`'s volume (or mute) is
// read back from it and written to `outputDevice`, on the HAL's notification
// thread. Registering the same pair twice has no further effect. Nothing is
// copied when registering: the caller copies the current values first.
// Once a removal returns, its listener is not running and is not called
// again (CoreAudio's listener contract).
OSStatus Volume_AddListener(AudioObjectID captureDevice, AudioObjectID outputDevice);
OSStatus Mute_AddListener(AudioObjectID captureDevice, AudioObjectID outputDevice);
OSStatus Volume_RemoveListener(AudioObjectID captureDevice, AudioObjectID outputDevice);
OSStatus Mute_RemoveListener(AudioObjectID captureDevice, AudioObjectID outputDevice);
