#pragma once
#include <optional>
#include <string>
#include <vector>

#include "CoreAudio/AudioHardware.h"
#include "PropertyListeners.h"
#include "SimAudioDeviceSetup.h"

namespace qcp::coreaudio::sim {

using SimAudioChange = PropertyChange;
using SimAudioChanges = PropertyChanges;

struct SimAudioDevice {
    AudioObjectID id = kAudioObjectUnknown;
    SimAudioDeviceSetup state;
    std::vector<AudioStreamID> inputStreams; // ids, one per state.inputStreams entry
    std::vector<AudioStreamID> outputStreams;
    bool aggregate = false;
    std::vector<std::string> subDeviceUIDs; // an aggregate's
};

// The simulated sound system's objects. Not thread-safe: SimAudioSystem
// guards it. Ids are never reused, so a device that comes back gets a new one.
class SimAudioState {
public:
    SimAudioState();

    AudioObjectID PlugIn() const { return fPlugIn; }
    const std::vector<SimAudioDevice>& Devices() const { return fDevices; }
    SimAudioDevice* Find(AudioObjectID id);
    const SimAudioDevice* Find(AudioObjectID id) const;
    const SimAudioDevice* FindUID(const std::string& uid) const;
    bool IsStream(AudioObjectID id) const;
    // The device a stream belongs to, with the stream's direction and index;
    // null for an id that is no stream.
    SimAudioDevice* FindStream(AudioObjectID id, bool& input, size_t& index);

    AudioObjectID DefaultOutput() const { return fDefaultOutput; }
    AudioObjectID SystemOutput() const { return fSystemOutput; }
    AudioObjectID DefaultInput() const { return fDefaultInput; }
    // Which default `selector` ('dOut', 'sOut' or 'dIn ') names.
    AudioObjectID& Default(AudioObjectPropertySelector selector);
    // Whether `device` may be the default `selector`.
    bool CanBeDefault(const SimAudioDevice& device, AudioObjectPropertySelector selector) const;

    // Plugs a device in; 0 when its UID is taken. An absent default becomes
    // the new device when it can be one.
    AudioObjectID Add(SimAudioDeviceSetup setup, bool aggregate, SimAudioChanges& changes);
    // Unplugs a device; a default it was moves to the first device that can
    // be that default.
    bool Remove(AudioObjectID id, SimAudioChanges& changes);
    // Sets a default; false when the device cannot be it.
    bool SetDefault(AudioObjectPropertySelector selector, AudioObjectID id, SimAudioChanges& changes);
    // Makes an aggregate of the devices with `uids` (those plugged in): their
    // streams in order, the first one's rate.
    void SetSubDevices(SimAudioDevice& aggregate, std::vector<std::string> uids, SimAudioChanges& changes);

private:
    AudioObjectID fNextID;
    AudioObjectID fPlugIn;
    std::vector<SimAudioDevice> fDevices; // in the order they were plugged in
    AudioObjectID fDefaultOutput = kAudioObjectUnknown;
    AudioObjectID fSystemOutput = kAudioObjectUnknown;
    AudioObjectID fDefaultInput = kAudioObjectUnknown;
};

} // namespace qcp::coreaudio::sim
