#pragma once
// The HAL's older property calls, still used by parts of the capture chain.
// Each is the AudioObject call it stands for: the system object's global
// scope, or a device's input or output scope with the channel as element.
#include "AudioHardware.h"

extern "C" {
OSStatus AudioHardwareGetPropertyInfo(AudioHardwarePropertyID inPropertyID, UInt32* outSize, Boolean* outWritable);
OSStatus AudioHardwareGetProperty(AudioHardwarePropertyID inPropertyID, UInt32* ioPropertyDataSize,
                                  void* outPropertyData);
OSStatus AudioDeviceGetPropertyInfo(AudioDeviceID inDevice, UInt32 inChannel, Boolean isInput,
                                    AudioDevicePropertyID inPropertyID, UInt32* outSize, Boolean* outWritable);
OSStatus AudioDeviceGetProperty(AudioDeviceID inDevice, UInt32 inChannel, Boolean isInput,
                                AudioDevicePropertyID inPropertyID, UInt32* ioPropertyDataSize, void* outPropertyData);
}
