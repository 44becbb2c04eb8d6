#include "SimAudioApplication.h"

#include <cmath>
#include <numbers>

#include "AudioBuffers.h"

namespace qcp::coreaudio::sim {

SimAudioApplication::SimAudioApplication(SimAudioApplicationSetup setup)
    : fSetup(std::move(setup)), fAmplitude(std::pow(10.0, fSetup.peakDbfs / 20)) {}

void SimAudioApplication::SetDevice(AudioObjectID device, Float64 rate) {
    fRate = rate;
    fDevice = device;
}

OSStatus SimAudioApplication::IOProc(AudioObjectID, const AudioTimeStamp*, const AudioBufferList*,
                                     const AudioTimeStamp*, AudioBufferList* output, const AudioTimeStamp*,
                                     void* clientData) {
    if (output) static_cast<SimAudioApplication*>(clientData)->Play(*output);
    return kAudioHardwareNoError;
}

void SimAudioApplication::Play(AudioBufferList& output) {
    const ChannelSamples first = Channel(output, 0);
    const Float64 step = 2 * std::numbers::pi * fSetup.frequency / fRate.load();
    for (UInt32 f = 0; f < first.frames; ++f) {
        const auto sample = static_cast<Float32>(fAmplitude * std::sin(fPhase));
        for (UInt32 channel = 0;; ++channel) {
            const ChannelSamples samples = Channel(output, channel);
            if (!samples.data) break;
            if (f < samples.frames) samples.data[f * samples.stride] = sample;
        }
        fPhase = std::fmod(fPhase + step, 2 * std::numbers::pi);
    }
}

} // namespace qcp::coreaudio::sim
