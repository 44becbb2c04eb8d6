#pragma once
#include <memory>
#include <mutex>
#include <vector>

#include "AudioDeviceLayer.h"

// A device layer that answers through another, failing the property calls a
// test chose: a real server cannot be made to fail one property on demand.
// Made by the harness; any thread, like the layer it wraps.
namespace coreaudio_test {

class PulseFaultLayer final : public qcp::coreaudio::AudioDeviceLayer {
public:
    explicit PulseFaultLayer(std::unique_ptr<AudioDeviceLayer> layer) : fLayer(std::move(layer)) {}

    // Every property call on `object` for `selector` fails with `status`,
    // HasProperty answering false; until cleared.
    void Inject(AudioObjectID object, AudioObjectPropertySelector selector, OSStatus status) {
        std::lock_guard lock(fMutex);
        fFaults.push_back({object, selector, status});
    }
    void Clear() {
        std::lock_guard lock(fMutex);
        fFaults.clear();
    }

    std::string_view Name() const override { return fLayer->Name(); }
    bool HasProperty(AudioObjectID object, const AudioObjectPropertyAddress& address) override {
        return !Fault(object, address) && fLayer->HasProperty(object, address);
    }
    OSStatus IsPropertySettable(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                bool& settable) override {
        if (const OSStatus fault = Fault(object, address)) return fault;
        return fLayer->IsPropertySettable(object, address, settable);
    }
    OSStatus GetPropertyDataSize(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                 UInt32 qualifierSize, const void* qualifier, UInt32& size) override {
        if (const OSStatus fault = Fault(object, address)) return fault;
        return fLayer->GetPropertyDataSize(object, address, qualifierSize, qualifier, size);
    }
    OSStatus GetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address, UInt32 qualifierSize,
                             const void* qualifier, UInt32& size, void* data) override {
        if (const OSStatus fault = Fault(object, address)) return fault;
        return fLayer->GetPropertyData(object, address, qualifierSize, qualifier, size, data);
    }
    OSStatus SetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address, UInt32 qualifierSize,
                             const void* qualifier, UInt32 size, const void* data) override {
        if (const OSStatus fault = Fault(object, address)) return fault;
        return fLayer->SetPropertyData(object, address, qualifierSize, qualifier, size, data);
    }
    OSStatus AddPropertyListener(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                 AudioObjectPropertyListenerProc proc, void* clientData) override {
        return fLayer->AddPropertyListener(object, address, proc, clientData);
    }
    OSStatus RemovePropertyListener(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                    AudioObjectPropertyListenerProc proc, void* clientData) override {
        return fLayer->RemovePropertyListener(object, address, proc, clientData);
    }
    OSStatus StartDeviceIO(AudioObjectID device, AudioDeviceIOProc proc, void* clientData) override {
        return fLayer->StartDeviceIO(device, proc, clientData);
    }
    OSStatus StopDeviceIO(AudioObjectID device, AudioDeviceIOProc proc, void* clientData) override {
        return fLayer->StopDeviceIO(device, proc, clientData);
    }
    OSStatus GetCurrentTime(AudioObjectID device, AudioTimeStamp& time) override {
        return fLayer->GetCurrentTime(device, time);
    }

private:
    struct Entry {
        AudioObjectID object;
        AudioObjectPropertySelector selector;
        OSStatus status;
    };
    OSStatus Fault(AudioObjectID object, const AudioObjectPropertyAddress& address) {
        std::lock_guard lock(fMutex);
        for (const Entry& fault : fFaults)
            if (fault.object == object && fault.selector == address.mSelector) return fault.status;
        return kAudioHardwareNoError;
    }

    std::mutex fMutex;
    std::vector<Entry> fFaults;
    std::unique_ptr<AudioDeviceLayer> fLayer;
};

} // namespace coreaudio_test
