#include "PulseAudioSystem.h"

#include <pulse/volume.h>

#include "CaptureDriver.h"
#include "PulseAggregates.h"
#include "zTime.h"
#include "zUserLogHistory.h"

namespace qcp::coreaudio::pulse {
namespace {

constexpr const char* kDriverVersionProperty = "qcp.driver.version";

Float32 LinearVolume(const pa_cvolume& volume) {
    if (volume.channels == 0) return 0;
    double sum = 0;
    for (uint8_t i = 0; i < volume.channels; ++i) sum += pa_sw_volume_to_linear(volume.values[i]);
    return static_cast<Float32>(std::min(sum / volume.channels, 1.0));
}

template <class Info>
PulseDeviceInfo InfoOf(const Info& server, bool input) {
    PulseDeviceInfo info;
    info.input = input;
    info.index = server.index;
    info.name = server.name ? server.name : "";
    info.description = server.description ? server.description : info.name;
    info.channels = server.channel_map.channels;
    info.rate = server.sample_spec.rate;
    info.volume = LinearVolume(server.volume);
    info.mute = server.mute != 0;
    info.latencyMicros = server.configured_latency;
    const char* version = server.proplist ? pa_proplist_gets(server.proplist, kDriverVersionProperty) : nullptr;
    info.driverVersion = version ? version : "";
    info.module = server.owner_module;
    // PulseAudio names the module's file as the driver; PipeWire's server names
    // every driver "PipeWire" and groups a combine sink's nodes instead.
    const char* group = server.proplist ? pa_proplist_gets(server.proplist, "node.group") : nullptr;
    info.aggregate = !input && ((server.driver && std::string_view(server.driver) == "module-combine-sink.c") ||
                                (group && std::string_view(group).starts_with("combine-sink-")));
    return info;
}

constexpr int64_t kRetryMicros = 1'000'000;
// A server may apply a new default a little after it acknowledged it (a
// session manager decides, seconds later on a loaded machine): it is asked
// again until it tells it, for a while.
constexpr int64_t kDefaultPatienceMicros = 5'000'000;
constexpr int64_t kAskPollMicros = 1'000;
// A server that came back may load some devices (a session manager, its
// start-up commands) a little after it answers: they are awaited this long,
// looked for this often, before what is missing is taken as gone.
constexpr int64_t kSettleMicros = 3'000'000;
constexpr int64_t kSettleTickMicros = 100'000;
constexpr int kInformation = 0, kError = 1;
constexpr auto kEvents =
    static_cast<pa_subscription_mask_t>(PA_SUBSCRIPTION_MASK_SINK | PA_SUBSCRIPTION_MASK_SOURCE |
                                        PA_SUBSCRIPTION_MASK_SERVER);

void UserLog(int level, const char* text) {
    zUserLogHistory::Default()->Add(level, std::string("System Audio Capture: ") + text);
}

} // namespace

PulseAudioSystem::PulseAudioSystem(const std::string& server) : fServer(server) {
    Connect();
    fRetryThread = std::thread([this] { KeepConnecting(); });
}

PulseAudioSystem::~PulseAudioSystem() {
    {
        std::lock_guard lock(fRetryMutex);
        fClosing = true;
    }
    fRetry.notify_all();
    fRetryThread.join();
}

bool PulseAudioSystem::Connect() {
    if (!fConnection.Connect(fServer, this, kEvents)) return false;
    // The indexes of the server that went mean nothing to this one.
    const bool returning = fLost;
    if (returning) ForEachIO([](PulseDeviceIO& io, const PulseDevice*) { io.Hold(); });
    const OSStatus status = fConnection.Run([this](pa_context* context) {
        PulseConnection::Forget(pa_context_get_sink_info_list(context, &OnSinkInfo, this));
        PulseConnection::Forget(pa_context_get_source_info_list(context, &OnSourceInfo, this));
        return pa_context_get_server_info(context, &OnServerInfo, this);
    });
    if (status != kAudioHardwareNoError) return false;
    if (returning) {
        fSettleUntil = zTime::MicroNow() + kSettleMicros;
        fDefaultsPending = true;
    }
    fLost = false;
    fLoaded = true;
    if (returning) {
        UserLog(kInformation, "the sound server is back; capture carries on.");
        Settle();
    }
    return true;
}

void PulseAudioSystem::Settle() {
    ForEachIO([](PulseDeviceIO& io, const PulseDevice* device) {
        if (device && !device->missing) io.Revive(device->info.index);
    });
    SetChosenDefaults();
    if (zTime::MicroNow() < fSettleUntil) return;
    // What has not come back by now is gone.
    Changes changes;
    {
        std::lock_guard lock(fMutex);
        fDevices.DropMissing(changes);
    }
    fListeners.Notify(changes);
    fSettleUntil = 0;
    SetChosenDefaults();
}

void PulseAudioSystem::ForEachIO(const std::function<void(PulseDeviceIO&, const PulseDevice*)>& action) {
    std::vector<std::pair<PulseDeviceIO*, std::optional<PulseDevice>>> all;
    {
        std::lock_guard ioLock(fIOMutex);
        std::lock_guard lock(fMutex);
        for (const auto& [id, io] : fIO) {
            const PulseDevice* device = fDevices.Find(id);
            all.emplace_back(io.get(), device ? std::optional(*device) : std::nullopt);
        }
    }
    // Unlocked: the I/O's own lock may wait for a cycle, whose procs call the layer.
    for (auto& [io, device] : all) action(*io, device ? &*device : nullptr);
}

void PulseAudioSystem::SetChosenDefaults() {
    if (!fDefaultsPending) return;
    const bool settling = fSettleUntil != 0;
    bool set = true;
    std::vector<PulseRequest> defaults;
    {
        std::lock_guard lock(fMutex);
        for (const auto& [name, input] : {std::pair{fChosenSink, false}, std::pair{fChosenSource, true}}) {
            if (name.empty()) continue;
            const PulseDevice* device = fDevices.FindName(name);
            // One still missing may yet come back while the server settles.
            if (!device || device->missing || device->info.input != input) {
                set = set && !settling;
                continue;
            }
            const auto selector =
                input ? kAudioHardwarePropertyDefaultInputDevice : kAudioHardwarePropertyDefaultOutputDevice;
            if (fDevices.Default(selector) == device->id) continue;
            PulseRequest request;
            request.kind = input ? PulseRequest::Kind::DefaultSource : PulseRequest::Kind::DefaultSink;
            request.input = input;
            request.index = device->info.index;
            request.name = name;
            defaults.push_back(std::move(request));
        }
    }
    // A server just started may refuse for a moment: tried again later.
    for (const PulseRequest& request : defaults) set = Carry(request) == kAudioHardwareNoError && set;
    fDefaultsPending = !set;
}

void PulseAudioSystem::KeepConnecting() {
    std::unique_lock lock(fRetryMutex);
    while (!fClosing) {
        lock.unlock();
        if (!IsRunning())
            Connect();
        else if (fSettleUntil != 0)
            Settle();
        else
            SetChosenDefaults();
        lock.lock();
        const int64_t wait = fSettleUntil != 0 ? kSettleTickMicros : kRetryMicros;
        zTime::WaitUntil(fRetry, lock, zTime::MicroNow() + wait, [this] { return fClosing; });
    }
}

void PulseAudioSystem::OnEvent(pa_context* context, pa_subscription_event_type_t type, uint32_t index) {
    const auto facility = type & PA_SUBSCRIPTION_EVENT_FACILITY_MASK;
    const bool removed = (type & PA_SUBSCRIPTION_EVENT_TYPE_MASK) == PA_SUBSCRIPTION_EVENT_REMOVE;
    if (facility == PA_SUBSCRIPTION_EVENT_SINK || facility == PA_SUBSCRIPTION_EVENT_SOURCE) {
        const bool input = facility == PA_SUBSCRIPTION_EVENT_SOURCE;
        if (removed) {
            Heard heard{true, {}};
            heard.info.input = input;
            heard.info.index = index;
            fHeard.push_back(std::move(heard));
        } else {
            Ask(context, input, index);
            return;
        }
    }
    PulseConnection::Forget(pa_context_get_server_info(context, &OnServerInfo, this));
}

void PulseAudioSystem::Ask(pa_context* context, bool input, uint32_t index) {
    PulseConnection::Forget(input ? pa_context_get_source_info_by_index(context, index, &OnSourceInfo, this)
                                  : pa_context_get_sink_info_by_index(context, index, &OnSinkInfo, this));
    PulseConnection::Forget(pa_context_get_server_info(context, &OnServerInfo, this));
}

void PulseAudioSystem::OnLost() {
    {
        // Kept, silent, until the server is back to say which are still there.
        std::lock_guard lock(fMutex);
        fDevices.Suspend();
    }
    fLost = true;
    fHeard.clear();
    UserLog(kError, "lost the connection to the sound server; capture resumes when it is back.");
    std::lock_guard lock(fRetryMutex);
    fRetry.notify_all();
}

void PulseAudioSystem::OnSinkInfo(pa_context*, const pa_sink_info* info, int eol, void* self) {
    // A device gone before its answer came has eol < 0: its removal follows.
    if (eol != 0 || !info) return;
    static_cast<PulseAudioSystem*>(self)->fHeard.push_back({false, InfoOf(*info, false)});
}

void PulseAudioSystem::OnSourceInfo(pa_context*, const pa_source_info* info, int eol, void* self) {
    if (eol != 0 || !info || info->monitor_of_sink != PA_INVALID_INDEX) return;
    static_cast<PulseAudioSystem*>(self)->fHeard.push_back({false, InfoOf(*info, true)});
}

void PulseAudioSystem::OnServerInfo(pa_context*, const pa_server_info* info, void* self) {
    auto* system = static_cast<PulseAudioSystem*>(self);
    Changes changes;
    {
        std::lock_guard lock(system->fMutex);
        for (const Heard& heard : system->fHeard) {
            if (heard.removed)
                system->fDevices.Remove(heard.info.input, heard.info.index, changes);
            else
                system->fDevices.Update(heard.info, changes);
        }
        if (info)
            system->fDevices.SetDefaults(info->default_sink_name ? info->default_sink_name : "",
                                         info->default_source_name ? info->default_source_name : "", changes);
    }
    system->fHeard.clear();
    system->fListeners.Notify(changes);
}

bool PulseAudioSystem::HasProperty(AudioObjectID object, const AudioObjectPropertyAddress& address) {
    std::lock_guard lock(fMutex);
    return IsRunning() && pulse::HasProperty(fDevices, object, address);
}

OSStatus PulseAudioSystem::IsPropertySettable(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                              bool& settable) {
    std::lock_guard lock(fMutex);
    if (!IsRunning()) return kAudioHardwareNotRunningError;
    return pulse::IsPropertySettable(fDevices, object, address, settable);
}

OSStatus PulseAudioSystem::GetPropertyDataSize(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                               UInt32 qualifierSize, const void* qualifier, UInt32& size) {
    std::lock_guard lock(fMutex);
    if (!IsRunning()) return kAudioHardwareNotRunningError;
    return pulse::GetPropertyDataSize(fDevices, object, address, qualifierSize, qualifier, size);
}

OSStatus PulseAudioSystem::GetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                           UInt32 qualifierSize, const void* qualifier, UInt32& size, void* data) {
    if (IsAggregateAction(object, address)) {
        if (!IsRunning()) return kAudioHardwareNotRunningError;
        return address.mSelector == kAudioPlugInCreateAggregateDevice
                   ? CreateAggregate(qualifierSize, qualifier, size, data)
                   : DestroyAggregate(size, data);
    }
    std::lock_guard lock(fMutex);
    if (!IsRunning()) return kAudioHardwareNotRunningError;
    return pulse::GetPropertyData(fDevices, object, address, qualifierSize, qualifier, size, data);
}

OSStatus PulseAudioSystem::SetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address, UInt32,
                                           const void*, UInt32 size, const void* data) {
    Changes changes;
    PulseRequest request;
    OSStatus status;
    {
        std::lock_guard lock(fMutex);
        if (!IsRunning()) return kAudioHardwareNotRunningError;
        status = pulse::SetPropertyData(fDevices, object, address, size, data, changes, request);
    }
    fListeners.Notify(changes);
    if (status == kAudioHardwareNoError && address.mSelector == kAudioDevicePropertyBufferFrameSize) {
        if (PulseDeviceIO* io = IO(object))
            io->Configure(std::clamp(*static_cast<const UInt32*>(data), PulseDevices::kMinBufferFrameSize,
                                     PulseDevices::kMaxBufferFrameSize));
    }
    if (status != kAudioHardwareNoError || request.kind == PulseRequest::Kind::None) return status;
    if (request.kind == PulseRequest::Kind::SubDevices) return SetSubDevices(request);
    status = Carry(request);
    if (status == kAudioHardwareNoError && request.kind == PulseRequest::Kind::DefaultSink) {
        std::lock_guard lock(fMutex);
        fChosenSink = request.name;
    } else if (status == kAudioHardwareNoError && request.kind == PulseRequest::Kind::DefaultSource) {
        std::lock_guard lock(fMutex);
        fChosenSource = request.name;
    }
    return status;
}

OSStatus PulseAudioSystem::Carry(const PulseRequest& request) {
    int succeeded = 0;
    OSStatus status = fConnection.Run([&](pa_context* context) -> pa_operation* {
        void* result = &succeeded;
        switch (request.kind) {
        case PulseRequest::Kind::DefaultSink:
            return pa_context_set_default_sink(context, request.name.c_str(), &PulseConnection::Succeeded, result);
        case PulseRequest::Kind::DefaultSource:
            return pa_context_set_default_source(context, request.name.c_str(), &PulseConnection::Succeeded, result);
        case PulseRequest::Kind::Volume: {
            pa_cvolume volume;
            pa_cvolume_set(&volume, request.channels, pa_sw_volume_from_linear(request.volume));
            return pa_context_set_sink_volume_by_index(context, request.index, &volume, &PulseConnection::Succeeded,
                                                       result);
        }
        case PulseRequest::Kind::Mute:
            return pa_context_set_sink_mute_by_index(context, request.index, request.mute,
                                                     &PulseConnection::Succeeded, result);
        case PulseRequest::Kind::SubDevices:
        case PulseRequest::Kind::None: break;
        }
        return nullptr;
    });
    if (status == kAudioHardwareNoError && !succeeded) status = fConnection.LastError();
    if (status != kAudioHardwareNoError) return status;
    // Heard before answering, so that a read that follows sees the result.
    status = fConnection.Run([&](pa_context* context) {
        PulseConnection::Forget(request.input
                                    ? pa_context_get_source_info_by_index(context, request.index, &OnSourceInfo, this)
                                    : pa_context_get_sink_info_by_index(context, request.index, &OnSinkInfo, this));
        return pa_context_get_server_info(context, &OnServerInfo, this);
    });
    const bool isDefault =
        request.kind == PulseRequest::Kind::DefaultSink || request.kind == PulseRequest::Kind::DefaultSource;
    return status == kAudioHardwareNoError && isDefault ? AwaitDefault(request) : status;
}

OSStatus PulseAudioSystem::AwaitDefault(const PulseRequest& request) {
    const auto selector =
        request.input ? kAudioHardwarePropertyDefaultInputDevice : kAudioHardwarePropertyDefaultOutputDevice;
    return AskUntil(
        kDefaultPatienceMicros,
        [&] {
            return fConnection.Run(
                [&](pa_context* context) { return pa_context_get_server_info(context, &OnServerInfo, this); });
        },
        [&] {
            const PulseDevice* device = fDevices.FindName(request.name);
            return device && fDevices.Default(selector) == device->id;
        });
}

OSStatus PulseAudioSystem::AskUntil(int64_t patienceMicros, const std::function<OSStatus()>& ask,
                                    const std::function<bool()>& told) {
    const int64_t deadline = zTime::MicroNow() + patienceMicros;
    for (;;) {
        if (const OSStatus status = ask()) return status;
        {
            std::lock_guard lock(fMutex);
            if (told()) return kAudioHardwareNoError;
        }
        if (zTime::MicroNow() >= deadline) return kAudioHardwareUnspecifiedError;
        zTime::SleepUntil(zTime::MicroNow() + kAskPollMicros);
    }
}

OSStatus PulseAudioSystem::AddPropertyListener(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                               AudioObjectPropertyListenerProc proc, void* clientData) {
    {
        std::lock_guard lock(fMutex);
        if (!IsRunning()) return kAudioHardwareNotRunningError;
        if (object != kAudioObjectSystemObject && !fDevices.Find(object) && !fDevices.FindStream(object))
            return kAudioHardwareBadObjectError;
    }
    fListeners.Add(object, address, proc, clientData);
    return kAudioHardwareNoError;
}

OSStatus PulseAudioSystem::RemovePropertyListener(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                                  AudioObjectPropertyListenerProc proc, void* clientData) {
    // Also for a device that has gone, or a server: owners remove late.
    fListeners.Remove(object, address, proc, clientData);
    return kAudioHardwareNoError;
}

OSStatus PulseAudioSystem::StartDeviceIO(AudioObjectID device, AudioDeviceIOProc proc, void* clientData) {
    PulseDeviceIOSetup setup;
    {
        std::lock_guard lock(fMutex);
        if (!IsRunning()) return kAudioHardwareNotRunningError;
        const PulseDevice* found = fDevices.Find(device);
        if (!found) return kAudioHardwareBadDeviceError;
        setup = {found->info.input, found->info.index, found->info.channels, found->info.rate, found->bufferFrameSize};
    }
    std::lock_guard lock(fIOMutex);
    auto& io = fIO[device];
    if (!io) io = std::make_unique<PulseDeviceIO>(fConnection, device, setup);
    io->Start(proc, clientData);
    return kAudioHardwareNoError;
}

PulseDeviceIO* PulseAudioSystem::IO(AudioObjectID device) {
    std::lock_guard lock(fIOMutex);
    const auto found = fIO.find(device);
    return found == fIO.end() ? nullptr : found->second.get();
}

OSStatus PulseAudioSystem::StopDeviceIO(AudioObjectID device, AudioDeviceIOProc proc, void* clientData) {
    if (PulseDeviceIO* io = IO(device)) io->Stop(proc, clientData);
    return kAudioHardwareNoError;
}

OSStatus PulseAudioSystem::GetCurrentTime(AudioObjectID device, AudioTimeStamp& time) {
    {
        std::lock_guard lock(fMutex);
        if (!IsRunning()) return kAudioHardwareNotRunningError;
        if (!fDevices.Find(device)) return kAudioHardwareBadDeviceError;
    }
    const PulseDeviceIO* io = IO(device);
    return io && io->CurrentTime(time) ? kAudioHardwareNoError : kAudioHardwareNotRunningError;
}

} // namespace qcp::coreaudio::pulse
