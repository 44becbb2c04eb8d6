#include "AudioDeviceLayer.h"

#include <atomic>

#include "CoreAudio/AudioHardwareDeprecated.h"

namespace qcp::coreaudio {
namespace {
// Read by every call on any thread; replaced only by Install.
std::atomic<AudioDeviceLayer*> gLayer{nullptr};
} // namespace

AudioDeviceLayer* Current() { return gLayer.load(std::memory_order_acquire); }

void Install(std::unique_ptr<AudioDeviceLayer> layer) {
    // The old layer's last listeners may still call in while it shuts down:
    // they find no layer rather than the new one.
    delete gLayer.exchange(nullptr, std::memory_order_acq_rel);
    gLayer.store(layer.release(), std::memory_order_release);
}

} // namespace qcp::coreaudio

using qcp::coreaudio::Current;

extern "C" {

Boolean AudioObjectHasProperty(AudioObjectID inObjectID, const AudioObjectPropertyAddress* inAddress) {
    auto* layer = Current();
    return layer && inAddress && layer->HasProperty(inObjectID, *inAddress);
}

OSStatus AudioObjectIsPropertySettable(AudioObjectID inObjectID, const AudioObjectPropertyAddress* inAddress,
                                       Boolean* outIsSettable) {
    auto* layer = Current();
    if (!layer) return kAudioHardwareNotRunningError;
    if (!inAddress || !outIsSettable) return kAudio_ParamError;
    bool settable = false;
    const OSStatus status = layer->IsPropertySettable(inObjectID, *inAddress, settable);
    if (status == kAudioHardwareNoError) *outIsSettable = settable;
    return status;
}

OSStatus AudioObjectGetPropertyDataSize(AudioObjectID inObjectID, const AudioObjectPropertyAddress* inAddress,
                                        UInt32 inQualifierDataSize, const void* inQualifierData, UInt32* outDataSize) {
    auto* layer = Current();
    if (!layer) return kAudioHardwareNotRunningError;
    if (!inAddress || !outDataSize) return kAudio_ParamError;
    return layer->GetPropertyDataSize(inObjectID, *inAddress, inQualifierDataSize, inQualifierData, *outDataSize);
}

OSStatus AudioObjectGetPropertyData(AudioObjectID inObjectID, const AudioObjectPropertyAddress* inAddress,
                                    UInt32 inQualifierDataSize, const void* inQualifierData, UInt32* ioDataSize,
                                    void* outData) {
    auto* layer = Current();
    if (!layer) return kAudioHardwareNotRunningError;
    if (!inAddress || !ioDataSize || !outData) return kAudio_ParamError;
    return layer->GetPropertyData(inObjectID, *inAddress, inQualifierDataSize, inQualifierData, *ioDataSize,
                                  outData);
}

OSStatus AudioObjectSetPropertyData(AudioObjectID inObjectID, const AudioObjectPropertyAddress* inAddress,
                                    UInt32 inQualifierDataSize, const void* inQualifierData, UInt32 inDataSize,
                                    const void* inData) {
    auto* layer = Current();
    if (!layer) return kAudioHardwareNotRunningError;
    if (!inAddress || !inData) return kAudio_ParamError;
    return layer->SetPropertyData(inObjectID, *inAddress, inQualifierDataSize, inQualifierData, inDataSize, inData);
}

OSStatus AudioObjectAddPropertyListener(AudioObjectID inObjectID, const AudioObjectPropertyAddress* inAddress,
                                        AudioObjectPropertyListenerProc inListener, void* inClientData) {
    auto* layer = Current();
    if (!layer) return kAudioHardwareNotRunningError;
    if (!inAddress || !inListener) return kAudio_ParamError;
    return layer->AddPropertyListener(inObjectID, *inAddress, inListener, inClientData);
}

OSStatus AudioObjectRemovePropertyListener(AudioObjectID inObjectID, const AudioObjectPropertyAddress* inAddress,
                                           AudioObjectPropertyListenerProc inListener, void* inClientData) {
    auto* layer = Current();
    if (!layer) return kAudioHardwareNotRunningError;
    if (!inAddress || !inListener) return kAudio_ParamError;
    return layer->RemovePropertyListener(inObjectID, *inAddress, inListener, inClientData);
}

OSStatus AudioHardwareGetPropertyInfo(AudioHardwarePropertyID inPropertyID, UInt32* outSize, Boolean* outWritable) {
    const AudioObjectPropertyAddress address{inPropertyID, kAudioObjectPropertyScopeGlobal,
                                             kAudioObjectPropertyElementMain};
    if (outSize) {
        if (const OSStatus status = AudioObjectGetPropertyDataSize(kAudioObjectSystemObject, &address, 0, nullptr, outSize))
            return status;
    }
    return outWritable ? AudioObjectIsPropertySettable(kAudioObjectSystemObject, &address, outWritable)
                       : kAudioHardwareNoError;
}

OSStatus AudioDeviceGetCurrentTime(AudioObjectID inDevice, AudioTimeStamp* outTime) {
    auto* layer = Current();
    if (!layer) return kAudioHardwareNotRunningError;
    if (!outTime) return kAudio_ParamError;
    return layer->GetCurrentTime(inDevice, *outTime);
}

OSStatus AudioHardwareGetProperty(AudioHardwarePropertyID inPropertyID, UInt32* ioPropertyDataSize,
                                  void* outPropertyData) {
    const AudioObjectPropertyAddress address{inPropertyID, kAudioObjectPropertyScopeGlobal,
                                             kAudioObjectPropertyElementMain};
    return AudioObjectGetPropertyData(kAudioObjectSystemObject, &address, 0, nullptr, ioPropertyDataSize,
                                      outPropertyData);
}

OSStatus AudioDeviceGetPropertyInfo(AudioDeviceID inDevice, UInt32 inChannel, Boolean isInput,
                                    AudioDevicePropertyID inPropertyID, UInt32* outSize, Boolean* outWritable) {
    const AudioObjectPropertyAddress address{
        inPropertyID, isInput ? kAudioObjectPropertyScopeInput : kAudioObjectPropertyScopeOutput, inChannel};
    if (outSize) {
        if (const OSStatus status = AudioObjectGetPropertyDataSize(inDevice, &address, 0, nullptr, outSize))
            return status;
    }
    return outWritable ? AudioObjectIsPropertySettable(inDevice, &address, outWritable) : kAudioHardwareNoError;
}

OSStatus AudioDeviceGetProperty(AudioDeviceID inDevice, UInt32 inChannel, Boolean isInput,
                                AudioDevicePropertyID inPropertyID, UInt32* ioPropertyDataSize, void* outPropertyData) {
    const AudioObjectPropertyAddress address{
        inPropertyID, isInput ? kAudioObjectPropertyScopeInput : kAudioObjectPropertyScopeOutput, inChannel};
    return AudioObjectGetPropertyData(inDevice, &address, 0, nullptr, ioPropertyDataSize, outPropertyData);
}
}
