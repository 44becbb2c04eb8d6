#pragma once
#include <CoreAudio/CoreAudio.h>

// The system's output routing as system-audio capture changes and repairs
// it. Every failure is traced with the status's description and the next
// step still runs; nothing throws. Any thread; the waits block the caller.

// The system-sounds output device; 0 when it cannot be read.
AudioObjectID vnAudioRouting_GetSystemSoundsOutput();
// Sets the default output, then the system-sounds output, to `device`.
void vnAudioRouting_RouteOutputsTo(AudioObjectID device);
void vnAudioRouting_SetSystemOutput(AudioObjectID device);
void vnAudioRouting_SetSystemSoundsOutput(AudioObjectID device);
// Routes both outputs to the first real output device, if there is one:
// the repair after a run that left them on the capture driver.
void vnAudioRouting_RepairOutputs();
// Whether the capture driver's device may become a default device.
void vnAudioRouting_SetCanBeDefault(AudioObjectID device, bool canBeDefault);
// Makes the capture aggregate over `subDevice` and destroys it again,
// first clearing away one an earlier run left behind; so none remains.
void vnAudioRouting_TidyAggregate(AudioObjectID subDevice);
