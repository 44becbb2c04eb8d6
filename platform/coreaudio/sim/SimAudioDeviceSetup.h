#pragma once
#include <string>
#include <vector>

#include "CoreAudio/CoreAudioTypes.h"

namespace qcp::coreaudio::sim {

// One simulated device as it is plugged in; the sim keeps it as the device's
// current state, which property writes then change.
struct SimAudioDeviceSetup {
    std::string uid;
    std::string name;
    // One entry per stream: its channel count.
    std::vector<UInt32> inputStreams;
    std::vector<UInt32> outputStreams;
    Float64 nominalRate = 48000;
    std::vector<Float64> availableRates{44100, 48000};
    // Writes are clamped to the range, then rounded down to a multiple of
    // the granularity, as some devices only take whole blocks.
    UInt32 bufferFrameSize = 512;
    UInt32 minBufferFrameSize = 32;
    UInt32 maxBufferFrameSize = 4096;
    UInt32 bufferFrameGranularity = 1;
    // How fast the device's clock runs against the zTime clock: 1.005 plays
    // 0.5 % more frames in the same time.
    Float64 clockRate = 1;
    UInt32 inputSafetyOffset = 0;
    UInt32 outputSafetyOffset = 0;
    Float32 volume = 1;
    bool mute = false;
    // A hidden device is not in the system's device list, yet is found by UID.
    bool visible = true;
    // A device that may not be a default refuses to become one.
    bool canBeDefault = true;
    // The capture driver's devices answer its custom properties.
    bool captureDriver = false;
    std::string driverVersion;
};

} // namespace qcp::coreaudio::sim
