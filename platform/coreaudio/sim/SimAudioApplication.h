#pragma once
#include <atomic>
#include <string>

#include "CoreAudio/AudioHardware.h"

namespace qcp::coreaudio::sim {

// A known signal an application plays: a sine, the same on every channel.
struct SimAudioApplicationSetup {
    std::string name;
    Float64 frequency = 440;
    Float64 peakDbfs = -12; // the sine's peak, in dB below full scale
};

// An application playing its signal into whichever device is the default
// output: its proc runs on that device's I/O thread, and the system moves it
// when the default changes.
class SimAudioApplication {
public:
    explicit SimAudioApplication(SimAudioApplicationSetup setup);

    const SimAudioApplicationSetup& Setup() const { return fSetup; }
    // The device it plays into; set by the system as it moves it, with that
    // device's rate.
    AudioObjectID Device() const { return fDevice; }
    void SetDevice(AudioObjectID device, Float64 rate);
    static OSStatus IOProc(AudioObjectID device, const AudioTimeStamp* now, const AudioBufferList* input,
                           const AudioTimeStamp* inputTime, AudioBufferList* output,
                           const AudioTimeStamp* outputTime, void* clientData);

private:
    void Play(AudioBufferList& output);

    const SimAudioApplicationSetup fSetup;
    const Float64 fAmplitude;
    std::atomic<AudioObjectID> fDevice{kAudioObjectUnknown};
    std::atomic<Float64> fRate{48000};
    Float64 fPhase = 0; // only on the I/O thread playing it
};

} // namespace qcp::coreaudio::sim
