#pragma once
#include <memory>

#include "zCritical.h"

// The system-audio capture engine: started and stopped (nestably) by whoever
// wants system audio, fed blocks of recorded audio by its recorder on the
// recorder's real-time thread.
class vnAudio {
public:
    virtual ~vnAudio() = default;
    virtual void Start() = 0;
    virtual void Stop() = 0;
    // A block of interleaved samples from the recorder; real-time thread.
    virtual void ProcessAudioData(double sampleTime, unsigned long long hostTime, void* data, int size) = 0;

protected:
    // Serialises Start and Stop, which may come from several threads.
    std::unique_ptr<zCritical> fLock = zCritical::Factory();
};
