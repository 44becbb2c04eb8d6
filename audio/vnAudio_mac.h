#pragma once
#include <CoreAudio/CoreAudio.h>

#include <cstdint>
#include <memory>
#include <mutex>

#include "vnAudio.h"
#include "vnCircularBuffer.h"

class vnOstrelAudioCaptureRecorder;

// The engine over CoreAudio: Start checks the capture driver, repairs and
// records the routing, starts the capture-driver recorder, sizes the byte
// ring from its format and starts the speaker play-through; Stop undoes it.
// Starts and stops nest: only the first Start and the last Stop act.
//
// Start and Stop run on the caller's thread (they take up to about a second
// and a half) and may be called from several threads. ProcessAudioData runs
// on the recorder's real-time thread: it never waits, dropping a block that
// comes while the engine is being started or stopped.
class vnAudio_mac : public vnAudio {
public:
    vnAudio_mac();
    // Does not stop: the system-audio driver deriving from it does.
    ~vnAudio_mac() override;

    void Start() override;
    void Stop() override;
    void ProcessAudioData(double sampleTime, unsigned long long hostTime, void* data, int size) override;

protected:
    // The ring and what reads it, for the driver's packets. `fRingLock`
    // guards the ring, the packet buffer and the last host time.
    std::mutex fRingLock;
    vnCircularBuffer* fRing = nullptr;
    std::unique_ptr<uint8_t[]> fPacketBuffer;
    uint8_t fChannels = 0;

private:
    // The recording is set up and running; false after logging why not.
    bool StartRecording();
    void RestoreOutputs();

    std::shared_ptr<vnOstrelAudioCaptureRecorder> fRecorder;
    int32_t fStartCount = 0;
    double fSampleRate = 0;
    uint64_t fLastHostTime = 0;
    AudioObjectID fSavedSystemOutput = kAudioObjectUnknown;
    AudioObjectID fSavedSystemSoundsOutput = kAudioObjectUnknown;
    AudioObjectID fRecordingDevice = kAudioObjectUnknown;
};
