#include "PulseAggregates.h"

#include <algorithm>
#include <cstring>

#include "CFText.h"
#include "CoreFoundation/CoreFoundation.h"
#include "PulseAudioSystem.h"

namespace qcp::coreaudio::pulse {
namespace {
// A server may tell of a new combine sink a moment before it tells it whole:
// it is asked again until it does, for a while.
constexpr int64_t kAggregatePatienceMicros = 3'000'000;
} // namespace

AggregateDescription DescriptionOf(UInt32 qualifierSize, const void* qualifier) {
    if (qualifierSize != sizeof(CFDictionaryRef) || !qualifier) return {};
    CFDictionaryRef dictionary;
    std::memcpy(&dictionary, qualifier, sizeof dictionary);
    if (!dictionary || CFGetTypeID(dictionary) != CFDictionaryGetTypeID()) return {};
    return {TextForKey(dictionary, kAudioAggregateDeviceUIDKey), TextForKey(dictionary, kAudioAggregateDeviceNameKey)};
}

bool IsAggregateAction(AudioObjectID object, const AudioObjectPropertyAddress& address) {
    return object == kPlugInID && address.mElement == kAudioObjectPropertyElementMain &&
           (address.mSelector == kAudioPlugInCreateAggregateDevice ||
            address.mSelector == kAudioPlugInDestroyAggregateDevice);
}

std::string CombineSinkArguments(const AggregateDescription& description, const std::vector<std::string>& sinks) {
    // The module's parser ends a quoted value at its quote.
    std::string name = description.name.empty() ? description.uid : description.name;
    std::replace_if(name.begin(), name.end(), [](char c) { return c == '"' || c == '\'' || c == '\\'; }, ' ');
    std::string arguments = "sink_name=" + description.uid + " sink_properties='device.description=\"" + name + "\"'";
    if (!sinks.empty()) {
        arguments += " slaves=";
        for (size_t i = 0; i < sinks.size(); ++i) arguments += (i ? "," : "") + sinks[i];
    }
    return arguments;
}

} // namespace qcp::coreaudio::pulse

// The layer's side: PulseAudioSystem's aggregate operations.
namespace qcp::coreaudio::pulse {

OSStatus PulseAudioSystem::LoadModule(const char* name, const std::string& arguments, uint32_t* loaded) {
    uint32_t module = PA_INVALID_INDEX;
    const OSStatus status = fConnection.Run([&](pa_context* context) {
        return pa_context_load_module(
            context, name, arguments.c_str(),
            [](pa_context*, uint32_t index, void* result) { *static_cast<uint32_t*>(result) = index; }, &module);
    });
    if (status != kAudioHardwareNoError) return status;
    if (loaded) *loaded = module;
    return module == PA_INVALID_INDEX ? kAudioHardwareIllegalOperationError : kAudioHardwareNoError;
}

OSStatus PulseAudioSystem::UnloadModule(uint32_t module) {
    int succeeded = 0;
    const OSStatus status = fConnection.Run([&](pa_context* context) {
        return pa_context_unload_module(context, module, &PulseConnection::Succeeded, &succeeded);
    });
    if (status != kAudioHardwareNoError) return status;
    return succeeded ? kAudioHardwareNoError : fConnection.LastError();
}

OSStatus PulseAudioSystem::HearSink(const std::string& name) {
    return fConnection.Run([&](pa_context* context) {
        PulseConnection::Forget(pa_context_get_sink_info_by_name(context, name.c_str(), &OnSinkInfo, this));
        return pa_context_get_server_info(context, &OnServerInfo, this);
    });
}

OSStatus PulseAudioSystem::AwaitAggregate(const std::string& name) {
    return AskUntil(
        kAggregatePatienceMicros, [&] { return HearSink(name); },
        [&] {
            const PulseDevice* device = fDevices.FindName(name);
            return device && device->info.aggregate && !device->missing;
        });
}

OSStatus PulseAudioSystem::AwaitSinkGone(const std::string& name) {
    bool listed = true;
    return AskUntil(
        kAggregatePatienceMicros,
        [&] {
            listed = false;
            return fConnection.Run([&](pa_context* context) {
                return pa_context_get_sink_info_by_name(
                    context, name.c_str(),
                    [](pa_context*, const pa_sink_info* info, int eol, void* found) {
                        if (eol == 0 && info) *static_cast<bool*>(found) = true;
                    },
                    &listed);
            });
        },
        [&] { return !listed; });
}

OSStatus PulseAudioSystem::CreateAggregate(UInt32 qualifierSize, const void* qualifier, UInt32 size, void* data) {
    if (size != sizeof(AudioObjectID)) return kAudioHardwareBadPropertySizeError;
    const AggregateDescription description = DescriptionOf(qualifierSize, qualifier);
    if (description.uid.empty()) return kAudioHardwareIllegalOperationError;
    {
        // The UID is another device's.
        std::lock_guard lock(fMutex);
        if (fDevices.FindName(description.uid)) return kAudioHardwareIllegalOperationError;
    }
    uint32_t module = PA_INVALID_INDEX;
    if (const OSStatus status = LoadModule("module-combine-sink", CombineSinkArguments(description, {}), &module))
        return status;
    if (const OSStatus status = AwaitAggregate(description.uid)) {
        // Not left half-made: its sink would hold the UID against every later try.
        UnloadModule(module);
        Changes changes;
        {
            std::lock_guard lock(fMutex);
            if (const PulseDevice* device = fDevices.FindName(description.uid)) fDevices.Forget(device->id, changes);
        }
        fListeners.Notify(changes);
        return status;
    }
    std::lock_guard lock(fMutex);
    const PulseDevice* device = fDevices.FindName(description.uid);
    if (!device) return kAudioHardwareUnspecifiedError;
    std::memcpy(data, &device->id, sizeof device->id);
    return kAudioHardwareNoError;
}

OSStatus PulseAudioSystem::DestroyAggregate(UInt32 size, const void* data) {
    if (size != sizeof(AudioObjectID)) return kAudioHardwareBadPropertySizeError;
    AudioObjectID id;
    std::memcpy(&id, data, sizeof id);
    uint32_t module;
    {
        std::lock_guard lock(fMutex);
        const PulseDevice* device = fDevices.Find(id);
        if (!device || !device->info.aggregate) return kAudioHardwareBadDeviceError;
        module = device->info.module;
    }
    if (const OSStatus status = UnloadModule(module)) return status;
    Changes changes;
    {
        std::lock_guard lock(fMutex);
        fDevices.Forget(id, changes);
    }
    fListeners.Notify(changes);
    return kAudioHardwareNoError;
}

OSStatus PulseAudioSystem::SetSubDevices(const PulseRequest& request) {
    AggregateDescription description;
    uint32_t module;
    {
        std::lock_guard lock(fMutex);
        PulseDevice* device = fDevices.Find(request.device);
        if (!device) return kAudioHardwareBadDeviceError;
        // Sub-devices are sinks, by UID.
        for (const std::string& uid : request.subDevices) {
            const PulseDevice* sub = fDevices.FindName(uid);
            if (!sub || sub->info.input || sub->id == device->id) return kAudioHardwareIllegalOperationError;
        }
        description = {device->info.name, device->info.description};
        module = device->info.module;
        device->subDevices = request.subDevices;
        // The module is made again with them: the same device to its users.
        fDevices.Remake(device->id);
    }
    OSStatus status = UnloadModule(module);
    // Loaded again while the old sink still holds the name, the new one
    // would be named apart (".2") and the device lost.
    if (status == kAudioHardwareNoError) status = AwaitSinkGone(description.uid);
    if (status == kAudioHardwareNoError)
        status = LoadModule("module-combine-sink", CombineSinkArguments(description, request.subDevices));
    // Heard whatever happened: remade (awaited whole), still there, or gone.
    if (status == kAudioHardwareNoError)
        status = AwaitAggregate(description.uid);
    else
        HearSink(description.uid);
    Changes changes;
    {
        // Not heard again: it went with its module.
        std::lock_guard lock(fMutex);
        const PulseDevice* device = fDevices.Find(request.device);
        if (device && device->missing) fDevices.Forget(request.device, changes);
    }
    fListeners.Notify(changes);
    return status;
}

} // namespace qcp::coreaudio::pulse
