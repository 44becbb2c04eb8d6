#pragma once
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
    virtual OSStatus GetPropertyInfo(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element,
                                     UInt32& size, bool& writable) = 0;
    virtual OSStatus GetProperty(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element, void* data,
                                 UInt32& size) = 0;
    virtual OSStatus SetProperty(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element,
                                 const void* data, UInt32 size) = 0;
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
};

} // namespace qcp::coreaudio
