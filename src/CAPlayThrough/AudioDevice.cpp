#include "AudioDevice.h"

#include <vector>

AudioObjectPropertyAddress AudioDevice::Address(AudioObjectPropertySelector selector) const {
    return {selector, mIsInput ? kAudioObjectPropertyScopeInput : kAudioObjectPropertyScopeOutput,
            kAudioObjectPropertyElementMain};
}

void AudioDevice::Init(AudioObjectID device, bool isInput) {
    mID = device;
    mIsInput = isInput;
    if (mID == kAudioObjectUnknown) return;
    // A failed read keeps what the field held: the engine copes with it.
    UInt32 size = sizeof mSafetyOffset;
    AudioObjectPropertyAddress address = Address(kAudioDevicePropertySafetyOffset);
    AudioObjectGetPropertyData(mID, &address, 0, nullptr, &size, &mSafetyOffset);
    size = sizeof mBufferSizeFrames;
    address = Address(kAudioDevicePropertyBufferFrameSize);
    AudioObjectGetPropertyData(mID, &address, 0, nullptr, &size, &mBufferSizeFrames);
    size = sizeof mFormat;
    address = Address(kAudioDevicePropertyStreamFormat);
    AudioObjectGetPropertyData(mID, &address, 0, nullptr, &size, &mFormat);
}

OSStatus AudioDevice::SetBufferSize(UInt32 frames) {
    const AudioObjectPropertyAddress address = Address(kAudioDevicePropertyBufferFrameSize);
    // The device may round the request; what it reports next is what counts.
    AudioObjectSetPropertyData(mID, &address, 0, nullptr, sizeof frames, &frames);
    UInt32 size = sizeof mBufferSizeFrames;
    return AudioObjectGetPropertyData(mID, &address, 0, nullptr, &size, &mBufferSizeFrames);
}

UInt32 AudioDevice::CountChannels() const {
    const AudioObjectPropertyAddress address = Address(kAudioDevicePropertyStreamConfiguration);
    UInt32 size = 0;
    if (AudioObjectGetPropertyDataSize(mID, &address, 0, nullptr, &size) != kAudioHardwareNoError || size == 0)
        return 0;
    // Whole AudioBuffers, so the list is aligned for its pointers.
    std::vector<AudioBuffer> storage(size / sizeof(AudioBuffer) + 1);
    auto* list = reinterpret_cast<AudioBufferList*>(storage.data());
    if (AudioObjectGetPropertyData(mID, &address, 0, nullptr, &size, list) != kAudioHardwareNoError) return 0;
    UInt32 channels = 0;
    for (UInt32 i = 0; i < list->mNumberBuffers; ++i) channels += list->mBuffers[i].mNumberChannels;
    return channels;
}

char* AudioDevice::GetName(char* buffer, UInt32 length) const {
    const AudioObjectPropertyAddress address = Address(kAudioDevicePropertyDeviceName);
    AudioObjectGetPropertyData(mID, &address, 0, nullptr, &length, buffer);
    return buffer;
}
