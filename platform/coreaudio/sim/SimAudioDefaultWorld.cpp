#include <cstdlib>
#include <string_view>

#include "SimAudioSystem.h"

namespace qcp::coreaudio::sim {

std::unique_ptr<SimAudioSystem> CreateDefaultSimAudioSystem() {
    auto system = std::make_unique<SimAudioSystem>();
    const char* setting = std::getenv("QCP_SIM_AUDIO_DRIVER");
    const std::string_view driver = setting ? setting : "installed";
    if (driver == "outdated")
        system->InstallDriver(SimAudioSystem::kOutdatedDriverVersion);
    else if (driver != "missing")
        system->InstallDriver();

    SimAudioDeviceSetup speakers;
    speakers.uid = kSimSpeakersUID;
    speakers.name = "Simulated Speakers";
    speakers.outputStreams = {2};
    speakers.outputSafetyOffset = 32;
    system->AddDevice(speakers);

    SimAudioDeviceSetup microphone;
    microphone.uid = kSimMicrophoneUID;
    microphone.name = "Simulated Microphone";
    microphone.inputStreams = {1};
    microphone.inputSafetyOffset = 16;
    system->AddDevice(microphone);

    SimAudioApplicationSetup tone;
    tone.name = "Simulated Tone";
    system->AddApplication(tone);
    return system;
}

} // namespace qcp::coreaudio::sim
