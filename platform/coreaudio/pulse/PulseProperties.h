#pragma once
#include <string>
#include <vector>

#include "PulseDevices.h"

// The property interface over the server's devices as the layer last heard
// them: what each object answers for each address, with CoreAudio's
// statuses. Called with the layer's lock held; writes the server must carry
// out come back as a request, made once the lock is released.
namespace qcp::coreaudio::pulse {

// A write for the server.
struct PulseRequest {
    enum class Kind { None, DefaultSink, DefaultSource, Volume, Mute, SubDevices };
    Kind kind = Kind::None;
    bool input = false;
    uint32_t index = 0; // the device's, on the server
    std::string name;   // the new default's
    UInt32 channels = 0;
    Float32 volume = 0;
    bool mute = false;
    AudioObjectID device = kAudioObjectUnknown; // an aggregate's, for its sub-devices
    std::vector<std::string> subDevices;
};

bool HasProperty(const PulseDevices& devices, AudioObjectID object, const AudioObjectPropertyAddress& address);
OSStatus IsPropertySettable(const PulseDevices& devices, AudioObjectID object,
                            const AudioObjectPropertyAddress& address, bool& settable);
OSStatus GetPropertyDataSize(const PulseDevices& devices, AudioObjectID object,
                             const AudioObjectPropertyAddress& address, UInt32 qualifierSize, const void* qualifier,
                             UInt32& size);
OSStatus GetPropertyData(const PulseDevices& devices, AudioObjectID object, const AudioObjectPropertyAddress& address,
                         UInt32 qualifierSize, const void* qualifier, UInt32& size, void* data);
// Changes what the layer keeps itself (appending for the listeners), or
// fills `request` with what the server has to change.
OSStatus SetPropertyData(PulseDevices& devices, AudioObjectID object, const AudioObjectPropertyAddress& address,
                         UInt32 size, const void* data, Changes& changes, PulseRequest& request);

} // namespace qcp::coreaudio::pulse
