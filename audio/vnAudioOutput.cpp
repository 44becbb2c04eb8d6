#include "vnAudioOutput.h"

namespace {

// The queue holds interleaved bytes exactly as offered, so the unit must be
// given them in one buffer, in a sample type it converts from.
bool Playable(const AudioStreamBasicDescription& format) {
    if (format.mFormatID != kAudioFormatLinearPCM || format.mChannelsPerFrame == 0 || format.mFramesPerPacket != 1 ||
        (format.mFormatFlags & kAudioFormatFlagIsNonInterleaved))
        return false;
    const bool isFloat = format.mFormatFlags & kAudioFormatFlagIsFloat;
    const bool isSigned = format.mFormatFlags & kAudioFormatFlagIsSignedInteger;
    const UInt32 bits = isFloat ? 32 : 16;
    if (isFloat == isSigned || format.mBitsPerChannel != bits) return false;
    return format.mBytesPerFrame == format.mChannelsPerFrame * bits / 8 &&
           format.mBytesPerPacket == format.mBytesPerFrame;
}

} // namespace

vnAudioOutput::vnAudioOutput(UInt32 queueBytes) : fQueue(queueBytes) {}

vnAudioOutput::~vnAudioOutput() {
    Stop();
    Uninitialize();
    Dispose();
}

OSStatus vnAudioOutput::Start(AudioObjectID device, const AudioStreamBasicDescription& format) {
    if (fUnit) return kAudioUnitErr_Initialized;
    if (device == kAudioObjectUnknown) return kAudioHardwareBadDeviceError;
    if (!Playable(format)) return kAudioUnitErr_FormatNotSupported;
    const AudioComponentDescription description{kAudioUnitType_Output, kAudioUnitSubType_HALOutput,
                                                kAudioUnitManufacturer_Apple, 0, 0};
    AudioComponent component = AudioComponentFindNext(nullptr, &description);
    if (!component) return kAudioUnitErr_FailedInitialization;
    if (const OSStatus status = AudioComponentInstanceNew(component, &fUnit)) {
        fUnit = nullptr;
        return status;
    }
    if (const OSStatus status = Configure(device, format)) {
        Uninitialize();
        Dispose();
        return status;
    }
    return noErr;
}

OSStatus vnAudioOutput::Configure(AudioObjectID device, const AudioStreamBasicDescription& format) {
    if (const OSStatus status = AudioUnitSetProperty(fUnit, kAudioOutputUnitProperty_CurrentDevice,
                                                     kAudioUnitScope_Global, 0, &device, sizeof device))
        return status;
    if (const OSStatus status = AudioUnitSetProperty(fUnit, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Input, 0,
                                                     &format, sizeof format))
        return status;
    const AURenderCallbackStruct callback{&vnAudioOutput::Render, this};
    if (const OSStatus status = AudioUnitSetProperty(fUnit, kAudioUnitProperty_SetRenderCallback,
                                                     kAudioUnitScope_Input, 0, &callback, sizeof callback))
        return status;
    if (const OSStatus status = AudioUnitInitialize(fUnit)) return status;
    return AudioOutputUnitStart(fUnit);
}

OSStatus vnAudioOutput::Stop() { return fUnit ? AudioOutputUnitStop(fUnit) : kAudioUnitErr_Uninitialized; }

OSStatus vnAudioOutput::Uninitialize() { return fUnit ? AudioUnitUninitialize(fUnit) : kAudioUnitErr_Uninitialized; }

void vnAudioOutput::Dispose() {
    if (!fUnit) return;
    AudioComponentInstanceDispose(fUnit);
    fUnit = nullptr;
}

OSStatus vnAudioOutput::Render(void* refCon, AudioUnitRenderActionFlags* flags, const AudioTimeStamp*, UInt32, UInt32,
                               AudioBufferList* data) {
    if (!data) return kAudio_ParamError;
    auto* output = static_cast<vnAudioOutput*>(refCon);
    UInt32 taken = 0;
    for (UInt32 i = 0; i < data->mNumberBuffers; ++i) {
        AudioBuffer& buffer = data->mBuffers[i];
        taken += output->fQueue.Take(buffer.mData, buffer.mDataByteSize);
    }
    if (taken == 0 && flags) *flags |= kAudioUnitRenderAction_OutputIsSilence;
    return noErr;
}
