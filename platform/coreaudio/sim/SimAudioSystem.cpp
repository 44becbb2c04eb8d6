#include "SimAudioSystem.h"

#include "CaptureDriver.h"
#include "SimAudioProperties.h"

namespace qcp::coreaudio::sim {

OSStatus SimAudioSystem::Enter(AudioObjectID object, const AudioObjectPropertyAddress& address, SimAudioCall call) {
    ++fPropertyCalls;
    for (const Fault& fault : fFaults) {
        if ((fault.object == object || fault.object == kAudioObjectUnknown) &&
            (fault.selector == address.mSelector || fault.selector == kAudioObjectPropertySelectorWildcard) &&
            (fault.call == call || fault.call == SimAudioCall::Any))
            return fault.status;
    }
    return kAudioHardwareNoError;
}

bool SimAudioSystem::HasProperty(AudioObjectID object, const AudioObjectPropertyAddress& address) {
    std::lock_guard lock(fMutex);
    return Enter(object, address, SimAudioCall::HasProperty) == kAudioHardwareNoError && sim::HasProperty(fState, object, address);
}

OSStatus SimAudioSystem::IsPropertySettable(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                            bool& settable) {
    std::lock_guard lock(fMutex);
    if (const OSStatus fault = Enter(object, address, SimAudioCall::IsSettable)) return fault;
    return sim::IsPropertySettable(fState, object, address, settable);
}

OSStatus SimAudioSystem::GetPropertyDataSize(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                             UInt32 qualifierSize, const void* qualifier, UInt32& size) {
    std::lock_guard lock(fMutex);
    if (const OSStatus fault = Enter(object, address, SimAudioCall::GetSize)) return fault;
    return sim::GetPropertyDataSize(fState, object, address, qualifierSize, qualifier, size);
}

OSStatus SimAudioSystem::GetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                         UInt32 qualifierSize, const void* qualifier, UInt32& size, void* data) {
    SimAudioChanges changes;
    OSStatus status;
    {
        std::lock_guard lock(fMutex);
        status = Enter(object, address, SimAudioCall::GetData);
        if (status == kAudioHardwareNoError)
            status = sim::GetPropertyData(fState, object, address, qualifierSize, qualifier, size, data, changes);
    }
    fListeners.Notify(changes);
    return status;
}

OSStatus SimAudioSystem::SetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address, UInt32,
                                         const void*, UInt32 size, const void* data) {
    SimAudioChanges changes;
    OSStatus status;
    {
        std::lock_guard lock(fMutex);
        status = Enter(object, address, SimAudioCall::SetData);
        if (status == kAudioHardwareNoError) status = sim::SetPropertyData(fState, object, address, size, data, changes);
    }
    fListeners.Notify(changes);
    return status;
}

OSStatus SimAudioSystem::AddPropertyListener(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                             AudioObjectPropertyListenerProc proc, void* clientData) {
    {
        std::lock_guard lock(fMutex);
        if (object != kAudioObjectSystemObject && object != fState.PlugIn() && !fState.Find(object) &&
            !fState.IsStream(object))
            return kAudioHardwareBadObjectError;
    }
    fListeners.Add(object, address, proc, clientData);
    return kAudioHardwareNoError;
}

OSStatus SimAudioSystem::RemovePropertyListener(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                                AudioObjectPropertyListenerProc proc, void* clientData) {
    // Also for a device that has gone: its owner removes its listeners late.
    fListeners.Remove(object, address, proc, clientData);
    return kAudioHardwareNoError;
}

AudioObjectID SimAudioSystem::AddDevice(SimAudioDeviceSetup setup) {
    SimAudioChanges changes;
    AudioObjectID id;
    {
        std::lock_guard lock(fMutex);
        id = fState.Add(std::move(setup), false, changes);
    }
    fListeners.Notify(changes);
    return id;
}

bool SimAudioSystem::RemoveDevice(const std::string& uid) {
    SimAudioChanges changes;
    bool removed = false;
    {
        std::lock_guard lock(fMutex);
        if (const SimAudioDevice* device = fState.FindUID(uid)) removed = fState.Remove(device->id, changes);
    }
    fListeners.Notify(changes);
    return removed;
}

AudioObjectID SimAudioSystem::DeviceID(const std::string& uid) const {
    std::lock_guard lock(fMutex);
    const SimAudioDevice* device = fState.FindUID(uid);
    return device ? device->id : AudioObjectID{kAudioObjectUnknown};
}

bool SimAudioSystem::SetDefault(AudioObjectPropertySelector selector, const std::string& uid) {
    SimAudioChanges changes;
    bool set = false;
    {
        std::lock_guard lock(fMutex);
        if (const SimAudioDevice* device = fState.FindUID(uid)) set = fState.SetDefault(selector, device->id, changes);
    }
    fListeners.Notify(changes);
    return set;
}

bool SimAudioSystem::InstallDriver(const std::string& version) {
    SimAudioDeviceSetup playedInto;
    playedInto.uid = kCaptureDriverPlayedIntoUID;
    playedInto.name = "Ostrel Audio Capture";
    playedInto.outputStreams = {2};
    playedInto.visible = false;
    playedInto.canBeDefault = false;
    playedInto.captureDriver = true;
    playedInto.driverVersion = version;
    SimAudioDeviceSetup recordedFrom = playedInto;
    recordedFrom.uid = kCaptureDriverRecordedFromUID;
    recordedFrom.name = "Ostrel Audio Capture Source";
    recordedFrom.outputStreams.clear();
    recordedFrom.inputStreams = {2};

    SimAudioChanges changes;
    bool installed = false;
    {
        std::lock_guard lock(fMutex);
        if (!fState.FindUID(playedInto.uid) && !fState.FindUID(recordedFrom.uid)) {
            fState.Add(std::move(playedInto), false, changes);
            fState.Add(std::move(recordedFrom), false, changes);
            installed = true;
        }
    }
    fListeners.Notify(changes);
    return installed;
}

bool SimAudioSystem::RemoveDriver() {
    SimAudioChanges changes;
    bool removed = false;
    {
        std::lock_guard lock(fMutex);
        for (const char* uid : {kCaptureDriverPlayedIntoUID, kCaptureDriverRecordedFromUID}) {
            if (const SimAudioDevice* device = fState.FindUID(uid)) removed |= fState.Remove(device->id, changes);
        }
    }
    fListeners.Notify(changes);
    return removed;
}

void SimAudioSystem::InjectFault(AudioObjectID object, AudioObjectPropertySelector selector, OSStatus status,
                                 SimAudioCall call) {
    std::lock_guard lock(fMutex);
    fFaults.push_back({object, selector, status, call});
}

void SimAudioSystem::ClearFaults() {
    std::lock_guard lock(fMutex);
    fFaults.clear();
}

} // namespace qcp::coreaudio::sim
