#pragma once
#include <CoreAudio/CoreAudio.h>

// One direction (input or output) of one device, with the three properties
// the play-through engine sizes its buffers and latency by. A plain value:
// holds nothing, copied freely; reads fail quietly and leave a field as it
// was.
struct AudioDevice {
    AudioObjectID mID = kAudioObjectUnknown;
    bool mIsInput = false;
    UInt32 mSafetyOffset = 0;     // frames
    UInt32 mBufferSizeFrames = 0; // frames
    AudioStreamBasicDescription mFormat{};

    // Stores both, then (unless `device` is 0) reads the safety offset, the
    // buffer frame size and the stream format of the direction's scope.
    void Init(AudioObjectID device, bool isInput);
    // Asks for `frames` (the answer is ignored) and caches what the device
    // then reports, which may be rounded; the status of that read.
    OSStatus SetBufferSize(UInt32 frames);
    // The channels of all the direction's streams; 0 when they cannot be read.
    UInt32 CountChannels() const;
    // The device's name in `buffer` (`length` bytes); `buffer` itself.
    char* GetName(char* buffer, UInt32 length) const;

private:
    AudioObjectPropertyAddress Address(AudioObjectPropertySelector selector) const;
};
