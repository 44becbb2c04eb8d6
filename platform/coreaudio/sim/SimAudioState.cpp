#include "SimAudioState.h"

#include <algorithm>

namespace qcp::coreaudio::sim {
namespace {
constexpr AudioObjectPropertySelector kDefaults[] = {kAudioHardwarePropertyDefaultOutputDevice,
                                                     kAudioHardwarePropertyDefaultSystemOutputDevice,
                                                     kAudioHardwarePropertyDefaultInputDevice};

SimAudioChange SystemChange(AudioObjectPropertySelector selector) {
    return {kAudioObjectSystemObject,
            {selector, kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMain}};
}
} // namespace

// Real systems number their objects from small integers upwards; starting
// well above the system object keeps stray constants from naming a device.
SimAudioState::SimAudioState() : fNextID(32), fPlugIn(fNextID++) {}

SimAudioDevice* SimAudioState::Find(AudioObjectID id) {
    auto found = std::find_if(fDevices.begin(), fDevices.end(), [id](const auto& device) { return device.id == id; });
    return found == fDevices.end() ? nullptr : &*found;
}

const SimAudioDevice* SimAudioState::Find(AudioObjectID id) const {
    return const_cast<SimAudioState*>(this)->Find(id);
}

const SimAudioDevice* SimAudioState::FindUID(const std::string& uid) const {
    auto found =
        std::find_if(fDevices.begin(), fDevices.end(), [&uid](const auto& device) { return device.state.uid == uid; });
    return found == fDevices.end() ? nullptr : &*found;
}

SimAudioDevice* SimAudioState::FindStream(AudioObjectID id, bool& input, size_t& index) {
    for (SimAudioDevice& device : fDevices) {
        for (const bool in : {true, false}) {
            const std::vector<AudioStreamID>& streams = in ? device.inputStreams : device.outputStreams;
            if (auto found = std::find(streams.begin(), streams.end(), id); found != streams.end()) {
                input = in;
                index = static_cast<size_t>(found - streams.begin());
                return &device;
            }
        }
    }
    return nullptr;
}

bool SimAudioState::IsStream(AudioObjectID id) const {
    return std::any_of(fDevices.begin(), fDevices.end(), [id](const auto& device) {
        return std::count(device.inputStreams.begin(), device.inputStreams.end(), id) ||
               std::count(device.outputStreams.begin(), device.outputStreams.end(), id);
    });
}

AudioObjectID& SimAudioState::Default(AudioObjectPropertySelector selector) {
    if (selector == kAudioHardwarePropertyDefaultInputDevice) return fDefaultInput;
    return selector == kAudioHardwarePropertyDefaultSystemOutputDevice ? fSystemOutput : fDefaultOutput;
}

bool SimAudioState::CanBeDefault(const SimAudioDevice& device, AudioObjectPropertySelector selector) const {
    const bool input = selector == kAudioHardwarePropertyDefaultInputDevice;
    return device.state.canBeDefault &&
           !(input ? device.state.inputStreams.empty() : device.state.outputStreams.empty());
}

AudioObjectID SimAudioState::Add(SimAudioDeviceSetup setup, bool aggregate, SimAudioChanges& changes) {
    if (FindUID(setup.uid)) return kAudioObjectUnknown;
    SimAudioDevice device;
    device.id = fNextID++;
    for (size_t i = 0; i < setup.inputStreams.size(); ++i) device.inputStreams.push_back(fNextID++);
    for (size_t i = 0; i < setup.outputStreams.size(); ++i) device.outputStreams.push_back(fNextID++);
    device.state = std::move(setup);
    device.aggregate = aggregate;
    fDevices.push_back(std::move(device));
    const SimAudioDevice& added = fDevices.back();
    if (added.state.visible) changes.push_back(SystemChange(kAudioHardwarePropertyDevices));
    for (const auto selector : kDefaults) {
        if (Default(selector) == kAudioObjectUnknown && CanBeDefault(added, selector))
            SetDefault(selector, added.id, changes);
    }
    return added.id;
}

bool SimAudioState::Remove(AudioObjectID id, SimAudioChanges& changes) {
    auto found = std::find_if(fDevices.begin(), fDevices.end(), [id](const auto& device) { return device.id == id; });
    if (found == fDevices.end()) return false;
    const bool wasVisible = found->state.visible;
    fDevices.erase(found);
    changes.push_back({id, {kAudioDevicePropertyDeviceIsAlive, kAudioObjectPropertyScopeGlobal,
                            kAudioObjectPropertyElementMain}});
    if (wasVisible) changes.push_back(SystemChange(kAudioHardwarePropertyDevices));
    for (const auto selector : kDefaults) {
        if (Default(selector) != id) continue;
        auto next = std::find_if(fDevices.begin(), fDevices.end(),
                                 [&](const auto& device) { return CanBeDefault(device, selector); });
        Default(selector) = next == fDevices.end() ? kAudioObjectUnknown : next->id;
        changes.push_back(SystemChange(selector));
    }
    return true;
}

bool SimAudioState::SetDefault(AudioObjectPropertySelector selector, AudioObjectID id, SimAudioChanges& changes) {
    const SimAudioDevice* device = Find(id);
    if (!device || !CanBeDefault(*device, selector)) return false;
    if (Default(selector) != id) {
        Default(selector) = id;
        changes.push_back(SystemChange(selector));
    }
    return true;
}

void SimAudioState::SetSubDevices(SimAudioDevice& aggregate, std::vector<std::string> uids,
                                  SimAudioChanges& changes) {
    aggregate.state.inputStreams.clear();
    aggregate.state.outputStreams.clear();
    aggregate.inputStreams.clear();
    aggregate.outputStreams.clear();
    bool first = true;
    for (const auto& uid : uids) {
        const SimAudioDevice* sub = FindUID(uid);
        if (!sub || sub->id == aggregate.id) continue;
        if (first) aggregate.state.nominalRate = sub->state.nominalRate;
        first = false;
        for (const UInt32 channels : sub->state.inputStreams) {
            aggregate.state.inputStreams.push_back(channels);
            aggregate.inputStreams.push_back(fNextID++);
        }
        for (const UInt32 channels : sub->state.outputStreams) {
            aggregate.state.outputStreams.push_back(channels);
            aggregate.outputStreams.push_back(fNextID++);
        }
    }
    aggregate.subDeviceUIDs = std::move(uids);
    const AudioObjectPropertySelector changed[] = {kAudioAggregateDevicePropertyFullSubDeviceList,
                                                   kAudioDevicePropertyStreams};
    for (const auto selector : changed)
        changes.push_back({aggregate.id, {selector, kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMain}});
}

} // namespace qcp::coreaudio::sim
