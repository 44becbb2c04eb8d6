#pragma once
#include <vector>

#include "AudioBuffers.h"
#include "CoreAudio/AudioHardware.h"

namespace qcp::coreaudio {

// A device's started I/O procs, and a cycle's call of them, for every device
// layer. Not thread-safe: the device guards it with the lock its Start and
// Stop take, held through Call.
class DeviceIOProcs {
public:
    // Starting a proc twice has no further effect; a stopped one starts again.
    void Start(AudioDeviceIOProc proc, void* clientData);
    // It is not called again, even by a Call under way.
    void Stop(AudioDeviceIOProc proc, void* clientData);
    // Whether any proc is started.
    bool Live() const;

    struct Times {
        AudioTimeStamp now;
        AudioTimeStamp input;  // when the input was recorded
        AudioTimeStamp output; // when the output will play
    };
    // Calls each started proc with `input` and a silent output buffer of
    // `frames` frames from `scratch`, and mixes what they wrote into `mix`,
    // silenced first. A proc may start or stop procs, itself included.
    void Call(AudioObjectID device, const Times& times, const AudioBufferList& input, OwnedBufferList& scratch,
              AudioBufferList& mix, UInt32 frames);

private:
    struct Proc {
        AudioDeviceIOProc proc;
        void* clientData;
        bool stopped;
    };
    std::vector<Proc> fProcs;
};

} // namespace qcp::coreaudio
