#pragma once
#include <cstring>
#include <mutex>

#include "AudioToolbox/AudioUnit.h"

namespace qcp::coreaudio {

// What every audio unit of this library answers; AudioToolbox's C calls
// check their pointers and hand the rest to it. Made by
// AudioComponentInstanceNew, destroyed by AudioComponentInstanceDispose
// (which stops an output unit first).
//
// Configuration (properties, Initialize, Uninitialize, Start, Stop) may come
// from any thread, one call at a time per unit. Render runs on the thread of
// whoever pulls (the I/O thread of the output unit at the head of a chain)
// and so do the render callbacks it calls; parameters may be set from that
// thread or any other while it runs.
class AudioUnitInstance {
public:
    virtual ~AudioUnitInstance() = default;

    virtual OSStatus Initialize() = 0;
    virtual OSStatus Uninitialize() = 0;

    // The property calls, checked against where the property lives, its
    // size and whether it can be set, then read or written under the lock.
    OSStatus GetPropertyInfo(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element, UInt32& size,
                             bool& writable) {
        std::lock_guard lock(fMutex);
        return Locate(id, scope, element, size, writable);
    }
    OSStatus GetProperty(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element, void* data,
                         UInt32& size) {
        std::lock_guard lock(fMutex);
        UInt32 needed = 0;
        bool writable = false;
        if (const OSStatus status = Locate(id, scope, element, needed, writable)) return status;
        if (size < needed) return kAudioUnitErr_InvalidPropertyValue;
        PropertyOut out{data, size};
        return Read(id, scope, element, out);
    }
    OSStatus SetProperty(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element, const void* data,
                         UInt32 size) {
        std::lock_guard lock(fMutex);
        UInt32 needed = 0;
        bool writable = false;
        if (const OSStatus status = Locate(id, scope, element, needed, writable)) return status;
        if (!writable) return kAudioUnitErr_PropertyNotWritable;
        if (size != needed) return kAudioUnitErr_InvalidPropertyValue;
        return Write(id, scope, element, data, size);
    }
    virtual OSStatus GetParameter(AudioUnitParameterID, AudioUnitScope, AudioUnitElement, AudioUnitParameterValue&) {
        return kAudioUnitErr_InvalidParameter;
    }
    virtual OSStatus SetParameter(AudioUnitParameterID, AudioUnitScope, AudioUnitElement, AudioUnitParameterValue) {
        return kAudioUnitErr_InvalidParameter;
    }
    // Fills `frames` frames of output bus `bus` into `data`; buffers with
    // null data get the unit's own.
    virtual OSStatus Render(AudioUnitRenderActionFlags* flags, const AudioTimeStamp& time, UInt32 bus, UInt32 frames,
                            AudioBufferList& data) = 0;
    // Output units only: run and stop the device I/O that pulls the chain.
    virtual bool IsOutput() const { return false; }
    virtual OSStatus Start() { return kAudio_UnimplementedError; }
    virtual OSStatus Stop() { return kAudio_UnimplementedError; }

protected:
    // Where a property read puts the value.
    struct PropertyOut {
        void* data;
        UInt32& size;
        template <class T>
        OSStatus Put(const T& value) {
            std::memcpy(data, &value, sizeof value);
            size = sizeof value;
            return noErr;
        }
    };
    // Where a property lives: its size and whether it can be set, or an
    // error for an id, scope or element the unit does not have. Lock held.
    virtual OSStatus Locate(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element, UInt32& size,
                            bool& writable) const = 0;
    // A located property, with room for it. Lock held.
    virtual OSStatus Read(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element, PropertyOut& out) = 0;
    // A located, settable property of the right size. Lock held.
    virtual OSStatus Write(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element, const void* data,
                           UInt32 size) = 0;

    std::mutex fMutex; // the configuration calls, one at a time
};

} // namespace qcp::coreaudio
