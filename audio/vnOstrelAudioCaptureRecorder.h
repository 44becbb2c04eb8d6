#pragma once
#include <cstdint>
#include <memory>
#include <string>

#include "vnCoreAudioRecorder.h"

class vnAudio_mac;
class vnAudioOutput;

// Captures what the system plays: routes the default and system-sounds
// outputs to the capture driver, records the driver's recording device,
// hands every block to the engine and, when asked, plays it on the real
// output device too; StopCapture puts the routing back by device UID (ids
// may change meanwhile).
//
// Made by the engine with std::make_shared and driven on the engine's
// thread: PrepareToRecord, IsPrepareFinished, BeginCapture, StopCapture. The
// base's rate listener may call StopCapture and BeginCapture on the
// notification thread at any time; the two sides are serialised. Send and
// the input proc run on the unit's real-time thread.
class vnOstrelAudioCaptureRecorder : public vnCoreAudioRecorder {
public:
    // How long the routing is given to settle after preparation.
    static constexpr int64_t kSettleMicros = 333'333;

    vnOstrelAudioCaptureRecorder(unsigned int deviceID, bool playThrough, vnAudio_mac& engine);

    // Hands out the rate and channel count PrepareToRecord found: the unit
    // is running already.
    int BeginCapture(double* sampleRate, unsigned int* channels) override;
    // Undoes everything PrepareToRecord did.
    void StopCapture() override;
    OSStatus AudioInputProc(unsigned int* ioActionFlags, const AudioTimeStamp* timeStamp, unsigned int busNumber,
                            unsigned int numberFrames, AudioBufferList* ioData) override;
    // To the engine.
    void Send(double sampleTime, unsigned long long hostTime, void* data, int size) override;
    ~vnOstrelAudioCaptureRecorder() override;
    // 0 when capture is set up and the unit started; otherwise the failing
    // step's result (-1 when the driver or an output device is missing).
    virtual int PrepareToRecord();
    // Whether the routing has had time to settle.
    virtual bool IsPrepareFinished();

private:
    // Where the system played before capture: the speaker output's device
    // and the mirror of the driver's volume.
    AudioObjectID ChooseRealOutput(AudioObjectID systemOutput);
    void RouteToDriver();
    void StopSpeakerOutput();
    void RestoreRouting();

    double fSampleRate = 0;
    unsigned int fChannels = 0;
    std::string fSavedSystemOutputUID;
    std::string fSavedSystemSoundsOutputUID;
    AudioObjectID fCaptureDevice = kAudioObjectUnknown;
    AudioObjectID fRealOutput = kAudioObjectUnknown;
    std::unique_ptr<vnAudioOutput> fSpeakerOutput;
    int64_t fReadyTime = 0;
    const bool fPlayThrough;
    bool fCaptureDeviceWasVisible = false;
    vnAudio_mac& fEngine;
};
