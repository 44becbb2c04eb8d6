#pragma once
#include <memory>
#include <string>
#include <vector>

#include "AudioDeviceLayer.h"
#include "SimAudioSystem.h"

// What the contract suites need of a device layer under test: making it, and
// changing its world the way only the layer itself can. One per layer.
namespace coreaudio_test {

class SimHarness {
public:
    // Why the suites cannot run over the layer here; empty when they can.
    std::string Unavailable() const { return {}; }
    std::unique_ptr<qcp::coreaudio::AudioDeviceLayer> Create() {
        auto system = std::make_unique<qcp::coreaudio::sim::SimAudioSystem>();
        fSystem = system.get();
        return system;
    }
    // Plugs in a stereo output device; its UID.
    std::string PlugOutput(const std::string& name) {
        qcp::coreaudio::sim::SimAudioDeviceSetup setup;
        setup.uid = "contract." + name;
        setup.name = name;
        setup.outputStreams = {2};
        return fSystem->AddDevice(setup) ? setup.uid : "";
    }
    // Plugs in a stereo input device; its UID.
    std::string PlugInput(const std::string& name) {
        qcp::coreaudio::sim::SimAudioDeviceSetup setup;
        setup.uid = "contract." + name;
        setup.name = name;
        setup.inputStreams = {2};
        return fSystem->AddDevice(setup) ? setup.uid : "";
    }
    bool Unplug(const std::string& uid) { return fSystem->RemoveDevice(uid); }
    // The rates a plugged-in device can be set to.
    std::vector<Float64> Rates(AudioObjectID) const { return qcp::coreaudio::sim::SimAudioDeviceSetup{}.availableRates; }
    // Starting device I/O on `device` fails with `status`.
    void InjectStartFault(AudioObjectID device, OSStatus status) {
        fSystem->InjectFault(device, kAudioObjectPropertySelectorWildcard, status,
                             qcp::coreaudio::sim::SimAudioCall::StartIO);
    }
    void InjectFault(AudioObjectID object, AudioObjectPropertySelector selector, OSStatus status) {
        fSystem->InjectFault(object, selector, status);
    }
    void ClearFaults() { fSystem->ClearFaults(); }

private:
    qcp::coreaudio::sim::SimAudioSystem* fSystem = nullptr;
};

} // namespace coreaudio_test
