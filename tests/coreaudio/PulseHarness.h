#pragma once
#include <pulse/introspect.h>

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "CoreAudioTestSupport.h"
#include "PulseAudioSystem.h"
#include "PulseConnection.h"
#include "PulseFaultLayer.h"
#include "SoundServers.h"
#include "WaitFor.h"

// The contract suites' harness for the "pulse" layer: a private server whose
// devices are null sinks and null sources, loaded and unloaded as modules.
// Made on the test's thread; plugging returns once the installed layer has
// heard of the change, bounded.
namespace coreaudio_test {

class PulseHarness {
public:
    // The rate the harness's devices run at: the server picks rates.
    static constexpr Float64 kRate = 48000;

    explicit PulseHarness(SoundServerKind kind = SoundServerKind::PulseAudio) : fServer(MakeServer(kind)) {
        // Without a server no client is made: its loop's thread would run for
        // nothing, and under ThreadSanitizer it reads as racing.
        if (!fServer->Unavailable().empty()) return;
        fControl = std::make_unique<qcp::coreaudio::pulse::PulseConnection>();
        if (!fControl->Connect(fServer->Address())) fUnavailable = "the private server does not answer";
    }

    // Why the tests cannot run; empty when they can.
    std::string Unavailable() const {
        return fServer->Unavailable().empty() ? fUnavailable : fServer->Unavailable();
    }
    std::unique_ptr<qcp::coreaudio::AudioDeviceLayer> Create() {
        auto layer = std::make_unique<PulseFaultLayer>(
            std::make_unique<qcp::coreaudio::pulse::PulseAudioSystem>(fServer->Address()));
        fLayer = layer.get();
        return layer;
    }
    // A stereo output device; its UID, or empty when it did not appear.
    std::string PlugOutput(const std::string& name) { return PlugSink(UIDFor(name), name); }
    // A null source takes its description as an argument of its own.
    std::string PlugInput(const std::string& name) {
        return Plug("module-null-source", UIDFor(name), "source", "description='" + name + "'");
    }
    // An input device recording from the monitor of the sink `sinkUID`.
    std::string PlugMonitorSource(const std::string& sinkUID, const std::string& name) {
        return Plug("module-remap-source", UIDFor(name), "source",
                    "master=" + sinkUID + ".monitor source_properties='device.description=\"" + name + "\"'");
    }
    // A sink of the server's name `uid`, with `properties` in its proplist
    // beside its description.
    std::string PlugSink(const std::string& uid, const std::string& name, const std::string& properties = {}) {
        return Plug("module-null-sink", uid, "sink",
                    "sink_properties='device.description=\"" + name + "\" " + properties + "'");
    }
    bool Unplug(const std::string& uid) {
        auto found = fModules.find(uid);
        if (found == fModules.end()) return false;
        int unloaded = 0;
        fControl->Run([&](pa_context* context) {
            return pa_context_unload_module(context, found->second,
                                            &qcp::coreaudio::pulse::PulseConnection::Succeeded, &unloaded);
        });
        fModules.erase(found);
        return unloaded && WaitFor([&] { return DeviceForUID(uid) == kAudioObjectUnknown; }, kPatience);
    }
    // The rates a device can be set to.
    std::vector<Float64> Rates(AudioObjectID) const { return {kRate}; }
    void InjectFault(AudioObjectID object, AudioObjectPropertySelector selector, OSStatus status) {
        fLayer->Inject(object, selector, status);
    }
    void ClearFaults() { fLayer->Clear(); }
    const std::string& Address() const { return fServer->Address(); }
    void KillServer() { fServer->Stop(); }

private:
    static constexpr std::chrono::seconds kPatience{10};

    static void OnModule(pa_context*, uint32_t index, void* result) { *static_cast<uint32_t*>(result) = index; }

    // Server names take letters, digits, '.', '-' and '_' only.
    static std::string UIDFor(const std::string& name) {
        std::string uid = "contract." + name;
        for (char& c : uid)
            if (!isalnum(static_cast<unsigned char>(c)) && c != '.' && c != '-' && c != '_') c = '_';
        return uid;
    }

    // Loads what `module` makes on PulseAudio, as the server makes it.
    std::string Plug(const char* module, const std::string& uid, const std::string& kind,
                     const std::string& description) {
        const std::string line = fServer->Module(std::string(module) + " " + kind + "_name=" + uid +
                                                 " rate=" + std::to_string(int(kRate)) + " " + description);
        const auto space = line.find(' ');
        const std::string name = line.substr(0, space), arguments = line.substr(space + 1);
        uint32_t index = PA_INVALID_INDEX;
        fControl->Run([&](pa_context* context) {
            return pa_context_load_module(context, name.c_str(), arguments.c_str(), &OnModule, &index);
        });
        if (index == PA_INVALID_INDEX) return {};
        fModules[uid] = index;
        return WaitFor([&] { return DeviceForUID(uid) != kAudioObjectUnknown; }, kPatience) ? uid : "";
    }

    std::unique_ptr<PrivateServer> fServer;
    std::string fUnavailable;
    // The harness's own client, for loading modules.
    std::unique_ptr<qcp::coreaudio::pulse::PulseConnection> fControl; // only with a server
    std::map<std::string, uint32_t> fModules; // by UID
    PulseFaultLayer* fLayer = nullptr;
};

// The same over PipeWire's PulseAudio server, for suites typed by harness.
class PipeWireHarness : public PulseHarness {
public:
    PipeWireHarness() : PulseHarness(SoundServerKind::PipeWire) {}
};

} // namespace coreaudio_test
