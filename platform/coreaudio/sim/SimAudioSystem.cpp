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
    Publish(changes);
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
    Publish(changes);
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
    Publish(changes);
    return id;
}

bool SimAudioSystem::RemoveDevice(const std::string& uid) {
    SimAudioChanges changes;
    bool removed = false;
    {
        std::lock_guard lock(fMutex);
        if (const SimAudioDevice* device = fState.FindUID(uid)) removed = fState.Remove(device->id, changes);
    }
    Publish(changes);
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
    Publish(changes);
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
    Publish(changes);
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
    Publish(changes);
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

namespace qcp::coreaudio::sim {
namespace {
// Two seconds at the highest rate the sim offers.
constexpr UInt32 kRecordingFrames = 2 * 96000;
constexpr UInt32 kLoopbackFrames = 65536;
constexpr UInt32 kLoopbackChannels = 2;
} // namespace

OSStatus SimAudioSystem::IOFault(AudioObjectID object, SimAudioCall call) const {
    for (const Fault& fault : fFaults) {
        if ((fault.object == object || fault.object == kAudioObjectUnknown) &&
            fault.selector == kAudioObjectPropertySelectorWildcard &&
            (fault.call == call || fault.call == SimAudioCall::Any))
            return fault.status;
    }
    return kAudioHardwareNoError;
}

std::shared_ptr<SimAudioDeviceIO> SimAudioSystem::IO(AudioObjectID device, const SimAudioDeviceSetup* setup) {
    std::lock_guard lock(fIOMutex);
    if (auto found = fIO.find(device); found != fIO.end()) return found->second;
    if (!setup) return nullptr;
    SimAudioRouting routing;
    const bool playedInto = setup->uid == kCaptureDriverPlayedIntoUID;
    const bool recordedFrom = setup->uid == kCaptureDriverRecordedFromUID;
    if ((playedInto || recordedFrom) && !fLoopback)
        fLoopback = std::make_shared<SimAudioRing>(kLoopbackChannels, kLoopbackFrames);
    if (recordedFrom) routing.input = fLoopback;
    if (playedInto) {
        routing.output = fLoopback;
    } else if (!setup->outputStreams.empty()) {
        auto& recording = fRecordings[setup->uid];
        UInt32 channels = 0;
        for (const UInt32 count : setup->outputStreams) channels += count;
        if (!recording) recording = std::make_shared<SimAudioRing>(channels, kRecordingFrames);
        routing.output = recording;
    }
    auto io = std::make_shared<SimAudioDeviceIO>(device, *setup, std::move(routing));
    fIO.emplace(device, io);
    return io;
}

OSStatus SimAudioSystem::StartDeviceIO(AudioObjectID device, AudioDeviceIOProc proc, void* clientData) {
    SimAudioDeviceSetup setup;
    {
        std::lock_guard lock(fMutex);
        if (const OSStatus fault = IOFault(device, SimAudioCall::StartIO)) return fault;
        const SimAudioDevice* found = fState.Find(device);
        if (!found) return kAudioHardwareBadDeviceError;
        setup = found->state;
    }
    // Outside the state's lock: a cycle in progress holds the device's.
    IO(device, &setup)->Start(proc, clientData);
    return kAudioHardwareNoError;
}

OSStatus SimAudioSystem::StopDeviceIO(AudioObjectID device, AudioDeviceIOProc proc, void* clientData) {
    {
        std::lock_guard lock(fMutex);
        if (const OSStatus fault = IOFault(device, SimAudioCall::StopIO)) return fault;
    }
    if (auto io = IO(device, nullptr)) io->Stop(proc, clientData);
    return kAudioHardwareNoError;
}

OSStatus SimAudioSystem::GetCurrentTime(AudioObjectID device, AudioTimeStamp& time) {
    {
        std::lock_guard lock(fMutex);
        if (const OSStatus fault = IOFault(device, SimAudioCall::CurrentTime)) return fault;
        if (!fState.Find(device)) return kAudioHardwareBadDeviceError;
    }
    const auto io = IO(device, nullptr);
    return io && io->CurrentTime(time) ? kAudioHardwareNoError : kAudioHardwareNotRunningError;
}

void SimAudioSystem::Publish(const SimAudioChanges& changes) {
    fListeners.Notify(changes);
    bool route = false;
    for (const SimAudioChange& change : changes) {
        const AudioObjectPropertySelector selector = change.address.mSelector;
        if (selector == kAudioDevicePropertyDeviceIsAlive) {
            std::shared_ptr<SimAudioDeviceIO> gone;
            std::lock_guard lock(fIOMutex);
            if (auto found = fIO.find(change.object); found != fIO.end()) {
                gone = std::move(found->second);
                fIO.erase(found);
            }
        } else if (selector == kAudioDevicePropertyNominalSampleRate ||
                   selector == kAudioDevicePropertyBufferFrameSize) {
            Float64 rate = 0;
            UInt32 frames = 0;
            {
                std::lock_guard lock(fMutex);
                const SimAudioDevice* device = fState.Find(change.object);
                if (!device) continue;
                rate = device->state.nominalRate;
                frames = device->state.bufferFrameSize;
            }
            if (auto io = IO(change.object, nullptr)) io->Configure(rate, frames);
            route = true;
        }
        route |= change.object == kAudioObjectSystemObject && selector == kAudioHardwarePropertyDefaultOutputDevice;
    }
    if (route) RouteApplications();
}

void SimAudioSystem::RouteApplications() {
    AudioObjectID target;
    Float64 rate = 0;
    {
        std::lock_guard lock(fMutex);
        target = fState.DefaultOutput();
        if (const SimAudioDevice* device = fState.Find(target)) rate = device->state.nominalRate;
    }
    std::lock_guard lock(fAppsMutex);
    for (const auto& app : fApps) {
        const AudioObjectID current = app->Device();
        if (current == target) {
            app->SetDevice(target, rate);
            continue;
        }
        if (current != kAudioObjectUnknown) StopDeviceIO(current, &SimAudioApplication::IOProc, app.get());
        app->SetDevice(target, rate);
        if (target != kAudioObjectUnknown) StartDeviceIO(target, &SimAudioApplication::IOProc, app.get());
    }
}

void SimAudioSystem::AddApplication(SimAudioApplicationSetup setup) {
    {
        std::lock_guard lock(fAppsMutex);
        fApps.push_back(std::make_unique<SimAudioApplication>(std::move(setup)));
    }
    RouteApplications();
}

std::vector<Float32> SimAudioSystem::Recording(const std::string& uid, UInt32 frames) const {
    std::shared_ptr<SimAudioRing> recording;
    {
        std::lock_guard lock(fIOMutex);
        if (auto found = fRecordings.find(uid); found != fRecordings.end()) recording = found->second;
    }
    return recording ? recording->Latest(frames) : std::vector<Float32>{};
}

uint64_t SimAudioSystem::IOCycles(const std::string& uid) const {
    std::shared_ptr<SimAudioDeviceIO> io;
    {
        std::lock_guard lock(fMutex);
        const SimAudioDevice* device = fState.FindUID(uid);
        if (!device) return 0;
        std::lock_guard ioLock(fIOMutex);
        if (auto found = fIO.find(device->id); found != fIO.end()) io = found->second;
    }
    return io ? io->Cycles() : 0;
}

} // namespace qcp::coreaudio::sim
