#pragma once
#include <pulse/def.h>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "CoreAudio/AudioHardware.h"
#include "PropertyListeners.h"

namespace qcp::coreaudio::pulse {

// Changes for the listeners: the same record the simulated layer publishes.
using Change = PropertyChange;
using Changes = PropertyChanges;

// What the server tells of a sink or a (non-monitor) source.
struct PulseDeviceInfo {
    bool input = false; // a source
    uint32_t index = 0; // the server's
    std::string name;
    std::string description;
    UInt32 channels = 0;
    Float64 rate = 0;
    Float32 volume = 1; // linear, the channels' average
    bool mute = false;
    uint64_t latencyMicros = 0; // as configured; 0 when the server has none yet
    std::string driverVersion;  // the proplist's qcp.driver.version
    uint32_t module = 0;        // the module that made it
    bool aggregate = false;     // a combine sink
};

// A device as the layer shows it: the server's state, and what the layer
// itself keeps for it because the server has no such thing.
struct PulseDevice {
    AudioObjectID id = kAudioObjectUnknown;
    AudioStreamID stream = kAudioObjectUnknown; // its one stream
    PulseDeviceInfo info;
    UInt32 bufferFrameSize = 0;
    bool captureDriver = false; // named with one of the driver's UIDs
    bool visible = true;
    bool canBeDefault = true;
    bool missing = false; // the server went away, or it is being remade; not heard of since
    std::vector<std::string> subDevices; // an aggregate's, as last set
};

// The server's devices and defaults as last heard, with their ids. Not
// thread-safe: PulseAudioSystem guards it. Ids are never reused, so a device
// that comes back (a new server index) gets a new one.
class PulseDevices {
public:
    static constexpr UInt32 kMinBufferFrameSize = 32;
    static constexpr UInt32 kMaxBufferFrameSize = 4096;
    static constexpr UInt32 kDefaultBufferFrameSize = 512;

    const std::vector<PulseDevice>& All() const { return fDevices; }
    PulseDevice* Find(AudioObjectID id);
    const PulseDevice* Find(AudioObjectID id) const;
    const PulseDevice* FindName(const std::string& name) const;
    // The device a stream belongs to; null for an id that is no stream.
    const PulseDevice* FindStream(AudioObjectID id) const;

    // A default ('dOut', 'sOut' or 'dIn '): the device the server names, or
    // kAudioObjectUnknown (also while it names a sink's monitor).
    AudioObjectID Default(AudioObjectPropertySelector selector) const;
    // Whether `device` may become the default `selector`.
    static bool CanBeDefault(const PulseDevice& device, AudioObjectPropertySelector selector);

    // A device appeared or changed.
    void Update(const PulseDeviceInfo& info, Changes& changes);
    // A device went away; nothing when it was not known.
    void Remove(bool input, uint32_t index, Changes& changes);
    // The server's default sink and source names.
    void SetDefaults(std::string sink, std::string source, Changes& changes);
    // The server went away: every device is kept, as it was, until the
    // server's list after it returns (ended by DropMissing) says whether it
    // is back. One that is takes its new server index and keeps its id.
    void Suspend();
    // The devices the returned server did not list go.
    void DropMissing(Changes& changes);
    // One device is about to be remade by the server under the same name:
    // the next of that name heard is it, with its id.
    void Remake(AudioObjectID id);
    // One device went, heard or not.
    void Forget(AudioObjectID id, Changes& changes);
    // Layer-kept values, settable through properties.
    void SetBufferFrameSize(PulseDevice& device, UInt32 frames, const AudioObjectPropertyAddress& address,
                            Changes& changes);
    void SetDriverFlag(PulseDevice& device, AudioObjectPropertySelector selector, bool value, Changes& changes);

private:
    void Erase(std::vector<PulseDevice>::iterator device, Changes& changes);
    // Publishes the defaults that now name other devices.
    void ResolveDefaults(Changes& changes);

    AudioObjectID fNextID = 32;
    // Server objects that have gone (sources apart from sinks): a late
    // answer about one is not taken for a device. The server does not reuse
    // an index until it restarts.
    std::set<std::pair<bool, uint32_t>> fGone;
    std::vector<PulseDevice> fDevices; // in the order they were heard of
    std::string fDefaultSink;
    std::string fDefaultSource;
    AudioObjectID fDefaultOutput = kAudioObjectUnknown;
    AudioObjectID fDefaultInput = kAudioObjectUnknown;
};

} // namespace qcp::coreaudio::pulse
