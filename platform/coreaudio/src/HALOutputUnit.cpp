#include "HALOutputUnit.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "AudioDeviceLayer.h"
#include "AudioFormats.h"

namespace qcp::coreaudio {
namespace {

constexpr AudioUnitElement kOutputElement = 0;
constexpr AudioUnitElement kInputElement = 1;

// The channels of a device's streams in `scope`.
OSStatus DeviceChannels(AudioObjectID device, AudioObjectPropertyScope scope, UInt32& channels) {
    const AudioObjectPropertyAddress address{kAudioDevicePropertyStreamConfiguration, scope,
                                             kAudioObjectPropertyElementMain};
    UInt32 size = 0;
    if (const OSStatus status = AudioObjectGetPropertyDataSize(device, &address, 0, nullptr, &size)) return status;
    std::vector<std::byte> storage(std::max<size_t>(size, sizeof(AudioBufferList)));
    if (const OSStatus status = AudioObjectGetPropertyData(device, &address, 0, nullptr, &size, storage.data()))
        return status;
    const auto* list = reinterpret_cast<const AudioBufferList*>(storage.data());
    channels = 0;
    for (UInt32 i = 0; i < list->mNumberBuffers; ++i) channels += list->mBuffers[i].mNumberChannels;
    return noErr;
}

template <class T>
OSStatus ReadDevice(AudioObjectID object, AudioObjectPropertySelector selector, T& value) {
    const AudioObjectPropertyAddress address{selector, kAudioObjectPropertyScopeGlobal,
                                             kAudioObjectPropertyElementMain};
    UInt32 size = sizeof value;
    return AudioObjectGetPropertyData(object, &address, 0, nullptr, &size, &value);
}

UInt32 SampleBytes(const AudioStreamBasicDescription& format) { return format.mBitsPerChannel / 8; }

// Buffers in `format`'s layout for `frames` frames.
void AllocateFor(OwnedBufferList& buffers, const AudioStreamBasicDescription& format, UInt32 frames) {
    buffers.Allocate(BufferLayout(format.mChannelsPerFrame, IsInterleaved(format)), frames, SampleBytes(format));
}

} // namespace

HALOutputUnit::HALOutputUnit(bool defaultOutput)
    : fDefaultOutput(defaultOutput), fOutputClient(FloatFormat(44100, 2, false)),
      fInputClient(FloatFormat(44100, 2, false)) {}

HALOutputUnit::~HALOutputUnit() { Stop(); }

AudioObjectID HALOutputUnit::TargetDevice() const {
    // Until given one, a unit plays to the default output.
    AudioObjectID device = fDevice;
    if (!fDeviceSet &&
        ReadDevice(kAudioObjectSystemObject, kAudioHardwarePropertyDefaultOutputDevice, device) != noErr)
        return kAudioObjectUnknown;
    return device;
}

OSStatus HALOutputUnit::FollowDevice(AudioObjectID device) {
    Float64 rate = 0;
    if (const OSStatus status = ReadDevice(device, kAudioDevicePropertyNominalSampleRate, rate)) return status;
    UInt32 inputs = 0, outputs = 0;
    DeviceChannels(device, kAudioObjectPropertyScopeInput, inputs);
    DeviceChannels(device, kAudioObjectPropertyScopeOutput, outputs);
    if (!fOutputClientSet) fOutputClient = FloatFormat(rate, outputs ? outputs : 2, false);
    if (!fInputClientSet) fInputClient = FloatFormat(rate, inputs ? inputs : 2, false);
    return noErr;
}

OSStatus HALOutputUnit::Initialize() {
    std::lock_guard lock(fMutex);
    return InitializeLocked();
}

OSStatus HALOutputUnit::InitializeLocked() {
    if (fInitialized) return noErr;
    const AudioObjectID device = TargetDevice();
    if (device == kAudioObjectUnknown) return kAudioUnitErr_NoConnection;
    if (const OSStatus status = FollowDevice(device)) return status;
    Float64 rate = 0;
    if (const OSStatus status = ReadDevice(device, kAudioDevicePropertyNominalSampleRate, rate)) return status;
    UInt32 inputs = 0, outputs = 0;
    if (fInputEnabled) {
        if (const OSStatus status = DeviceChannels(device, kAudioObjectPropertyScopeInput, inputs)) return status;
        if (inputs == 0) return kAudioUnitErr_NoConnection;
    }
    if (fOutputEnabled) {
        if (const OSStatus status = DeviceChannels(device, kAudioObjectPropertyScopeOutput, outputs)) return status;
        if (outputs == 0) return kAudioUnitErr_NoConnection;
    }
    if ((fOutputEnabled && fOutputClient.mSampleRate != rate) || (fInputEnabled && fInputClient.mSampleRate != rate))
        return kAudioUnitErr_FormatNotSupported;
    // Room for the largest buffer the device may be given.
    AudioValueRange range{};
    UInt32 capacity = fMaxFrames;
    if (ReadDevice(device, kAudioDevicePropertyBufferFrameSizeRange, range) == noErr)
        capacity = std::max(capacity, static_cast<UInt32>(range.mMaximum));

    Converter renderConverter, inputConverter;
    for (const bool output : {true, false}) {
        const AudioStreamBasicDescription& client = output ? fOutputClient : fInputClient;
        if (IsFloat(client)) continue;
        const AudioStreamBasicDescription floats =
            FloatFormat(client.mSampleRate, client.mChannelsPerFrame, IsInterleaved(client));
        AudioConverterRef converter = nullptr;
        const OSStatus status = output ? AudioConverterNew(&client, &floats, &converter)
                                       : AudioConverterNew(&floats, &client, &converter);
        if (status != noErr) return status;
        (output ? renderConverter : inputConverter).reset(converter);
        AllocateFor(output ? fRenderFloat : fInputFloat, floats, capacity);
    }
    fRenderConverter = std::move(renderConverter);
    fInputConverter = std::move(inputConverter);
    fActiveDevice = device;
    fDeviceRate = rate;
    fDeviceInputChannels = inputs;
    fDeviceOutputChannels = outputs;
    AllocateFor(fRenderBuffers, fOutputClient, capacity);
    AllocateFor(fInputBuffers, fInputClient, capacity);
    fInitialized = true;
    return noErr;
}

OSStatus HALOutputUnit::Uninitialize() {
    Stop();
    std::lock_guard lock(fMutex);
    fInitialized = false;
    return noErr;
}

OSStatus HALOutputUnit::Start() {
    AudioObjectID device;
    {
        std::lock_guard lock(fMutex);
        if (!fInitialized) return kAudioUnitErr_Uninitialized;
        if (fRunning) return noErr;
        device = fActiveDevice;
    }
    AudioDeviceLayer* layer = Current();
    if (!layer) return kAudioHardwareNotRunningError;
    fSampleOrigin = -1;
    const OSStatus status = layer->StartDeviceIO(device, &IOProc, this);
    if (status == noErr) fRunning = true;
    return status;
}

OSStatus HALOutputUnit::Stop() {
    AudioObjectID device;
    {
        std::lock_guard lock(fMutex);
        if (!fRunning.exchange(false)) return noErr;
        device = fActiveDevice;
    }
    // Outside the lock: the layer waits for a cycle in progress, which may
    // be reading this unit's settings.
    AudioDeviceLayer* layer = Current();
    const OSStatus status = layer ? layer->StopDeviceIO(device, &IOProc, this) : noErr;
    // Still called by the device, so still running.
    if (status != noErr) fRunning = true;
    return status;
}

AudioStreamBasicDescription* HALOutputUnit::ClientFormat(AudioUnitScope scope, AudioUnitElement element) {
    if (scope == kAudioUnitScope_Input && element == kOutputElement) return &fOutputClient;
    if (scope == kAudioUnitScope_Output && element == kInputElement) return &fInputClient;
    return nullptr;
}

AudioStreamBasicDescription HALOutputUnit::DeviceFormat(AudioUnitScope scope) const {
    if (fInitialized) {
        const UInt32 channels = scope == kAudioUnitScope_Input ? fDeviceInputChannels : fDeviceOutputChannels;
        return FloatFormat(fDeviceRate, channels, true);
    }
    // Before initialisation, what the current device offers now.
    const AudioObjectID device = TargetDevice();
    Float64 rate = 0;
    UInt32 channels = 0;
    if (device != kAudioObjectUnknown) {
        ReadDevice(device, kAudioDevicePropertyNominalSampleRate, rate);
        DeviceChannels(device, scope == kAudioUnitScope_Input ? kAudioObjectPropertyScopeInput
                                                               : kAudioObjectPropertyScopeOutput,
                       channels);
    }
    return FloatFormat(rate, channels, true);
}

OSStatus HALOutputUnit::Locate(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element,
                               UInt32& size, bool& writable) const {
    const bool global = scope == kAudioUnitScope_Global;
    switch (id) {
    case kAudioOutputUnitProperty_CurrentDevice:
    case kAudioOutputUnitProperty_IsRunning:
    case kAudioUnitProperty_MaximumFramesPerSlice:
    case kAudioOutputUnitProperty_SetInputCallback:
    case kAudioOutputUnitProperty_StartTimestampsAtZero:
    case kAudioDevicePropertyBufferFrameSize:
        if (!global) return kAudioUnitErr_InvalidScope;
        size = id == kAudioOutputUnitProperty_SetInputCallback ? sizeof(AURenderCallbackStruct) : sizeof(UInt32);
        writable = id != kAudioOutputUnitProperty_IsRunning &&
                   !(fDefaultOutput && id == kAudioOutputUnitProperty_SetInputCallback);
        return noErr;
    case kAudioOutputUnitProperty_EnableIO:
        if (scope != kAudioUnitScope_Input && scope != kAudioUnitScope_Output) return kAudioUnitErr_InvalidScope;
        if (element != (scope == kAudioUnitScope_Input ? kInputElement : kOutputElement))
            return kAudioUnitErr_InvalidElement;
        size = sizeof(UInt32);
        writable = !fDefaultOutput;
        return noErr;
    case kAudioUnitProperty_ShouldAllocateBuffer:
        if (scope != kAudioUnitScope_Output) return kAudioUnitErr_InvalidScope;
        if (element != kInputElement) return kAudioUnitErr_InvalidElement;
        size = sizeof(UInt32);
        writable = true;
        return noErr;
    case kAudioUnitProperty_StreamFormat:
    case kAudioUnitProperty_SampleRate:
        if (scope != kAudioUnitScope_Input && scope != kAudioUnitScope_Output) return kAudioUnitErr_InvalidScope;
        if (element != kOutputElement && element != kInputElement) return kAudioUnitErr_InvalidElement;
        size = id == kAudioUnitProperty_SampleRate ? sizeof(Float64) : sizeof(AudioStreamBasicDescription);
        writable = const_cast<HALOutputUnit*>(this)->ClientFormat(scope, element) != nullptr;
        return noErr;
    case kAudioUnitProperty_SetRenderCallback:
        if (scope != kAudioUnitScope_Input) return kAudioUnitErr_InvalidScope;
        if (element != kOutputElement) return kAudioUnitErr_InvalidElement;
        size = sizeof(AURenderCallbackStruct);
        writable = true;
        return noErr;
    default:
        return kAudioUnitErr_InvalidProperty;
    }
}

OSStatus HALOutputUnit::Read(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element,
                             PropertyOut& out) {
    switch (id) {
    case kAudioOutputUnitProperty_CurrentDevice:
        return out.Put(fInitialized ? fActiveDevice : TargetDevice());
    case kAudioOutputUnitProperty_IsRunning:
        return out.Put(UInt32{fRunning});
    case kAudioUnitProperty_MaximumFramesPerSlice:
        return out.Put(fMaxFrames);
    case kAudioOutputUnitProperty_StartTimestampsAtZero:
        return out.Put(UInt32{fTimestampsAtZero});
    case kAudioDevicePropertyBufferFrameSize: {
        const AudioObjectID device = fInitialized ? fActiveDevice : TargetDevice();
        if (device == kAudioObjectUnknown) return kAudioUnitErr_NoConnection;
        UInt32 frames = 0;
        if (const OSStatus status = ReadDevice(device, kAudioDevicePropertyBufferFrameSize, frames)) return status;
        return out.Put(frames);
    }
    case kAudioOutputUnitProperty_EnableIO:
        return out.Put(UInt32{scope == kAudioUnitScope_Input ? fInputEnabled : fOutputEnabled});
    case kAudioUnitProperty_ShouldAllocateBuffer:
        return out.Put(UInt32{fAllocateInput});
    case kAudioUnitProperty_StreamFormat:
    case kAudioUnitProperty_SampleRate: {
        const AudioStreamBasicDescription* client = ClientFormat(scope, element);
        const AudioStreamBasicDescription format = client ? *client : DeviceFormat(scope);
        return id == kAudioUnitProperty_SampleRate ? out.Put(format.mSampleRate) : out.Put(format);
    }
    case kAudioOutputUnitProperty_SetInputCallback:
        return out.Put(fInputCallback);
    default: // the render callback can only be set
        return kAudioUnitErr_InvalidProperty;
    }
}

OSStatus HALOutputUnit::Write(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element,
                              const void* data, UInt32 size) {
    // The I/O thread reads the settings without a lock.
    if (fRunning) return kAudioUnitErr_CannotDoInCurrentContext;
    // An initialised unit takes the change and initialises again, as the
    // HAL's unit does; when that fails it stays uninitialised.
    const bool callback = id == kAudioUnitProperty_SetRenderCallback || id == kAudioOutputUnitProperty_SetInputCallback;
    const bool reinitialize = fInitialized && !callback && id != kAudioDevicePropertyBufferFrameSize;
    if (reinitialize) fInitialized = false;
    const OSStatus status = Apply(id, scope, element, data, size);
    if (reinitialize) InitializeLocked();
    return status;
}

OSStatus HALOutputUnit::Apply(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element,
                              const void* data, UInt32 size) {
    UInt32 flag = 0;
    std::memcpy(&flag, data, std::min<UInt32>(size, sizeof flag));
    switch (id) {
    case kAudioOutputUnitProperty_CurrentDevice: {
        AudioObjectID device = kAudioObjectUnknown;
        std::memcpy(&device, data, sizeof device);
        if (device != kAudioObjectUnknown) {
            if (const OSStatus status = FollowDevice(device)) return status;
        }
        fDevice = device;
        fDeviceSet = true;
        return noErr;
    }
    case kAudioDevicePropertyBufferFrameSize: {
        const AudioObjectID device = TargetDevice();
        if (device == kAudioObjectUnknown) return kAudioUnitErr_NoConnection;
        const AudioObjectPropertyAddress address{kAudioDevicePropertyBufferFrameSize,
                                                 kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMain};
        return AudioObjectSetPropertyData(device, &address, 0, nullptr, sizeof flag, &flag);
    }
    case kAudioUnitProperty_MaximumFramesPerSlice:
        if (flag == 0) return kAudioUnitErr_InvalidPropertyValue;
        fMaxFrames = flag;
        return noErr;
    case kAudioOutputUnitProperty_EnableIO:
        (scope == kAudioUnitScope_Input ? fInputEnabled : fOutputEnabled) = flag != 0;
        return noErr;
    case kAudioOutputUnitProperty_StartTimestampsAtZero:
        fTimestampsAtZero = flag != 0;
        return noErr;
    case kAudioUnitProperty_ShouldAllocateBuffer:
        fAllocateInput = flag != 0;
        return noErr;
    case kAudioUnitProperty_StreamFormat: {
        AudioStreamBasicDescription format;
        std::memcpy(&format, data, sizeof format);
        if (!IsPCMFormat(format, true)) return kAudioUnitErr_FormatNotSupported;
        *ClientFormat(scope, element) =
            PCMFormat(format.mSampleRate, format.mChannelsPerFrame, IsInterleaved(format), IsFloat(format));
        (element == kOutputElement ? fOutputClientSet : fInputClientSet) = true;
        return noErr;
    }
    case kAudioUnitProperty_SampleRate: {
        Float64 rate = 0;
        std::memcpy(&rate, data, sizeof rate);
        if (!(rate > 0)) return kAudioUnitErr_InvalidPropertyValue;
        ClientFormat(scope, element)->mSampleRate = rate;
        (element == kOutputElement ? fOutputClientSet : fInputClientSet) = true;
        return noErr;
    }
    case kAudioUnitProperty_SetRenderCallback:
        std::memcpy(&fRenderCallback, data, sizeof fRenderCallback);
        return noErr;
    case kAudioOutputUnitProperty_SetInputCallback:
        std::memcpy(&fInputCallback, data, sizeof fInputCallback);
        return noErr;
    default:
        return kAudioUnitErr_InvalidProperty;
    }
}

OSStatus HALOutputUnit::Render(AudioUnitRenderActionFlags*, const AudioTimeStamp&, UInt32 bus, UInt32 frames,
                               AudioBufferList& data) {
    if (bus != kInputElement) return kAudioUnitErr_InvalidElement;
    const AudioBufferList* input = fCycleInput.load(std::memory_order_acquire);
    if (!input) return kAudioUnitErr_CannotDoInCurrentContext;
    if (frames > fCycleFrames.load(std::memory_order_relaxed)) return kAudioUnitErr_TooManyFramesToProcess;
    if (data.mNumberBuffers > 0 && !data.mBuffers[0].mData) {
        if (!fAllocateInput || frames > fInputBuffers.Capacity()) return kAudio_ParamError;
        const AudioBufferList& own = fInputBuffers.Prepare(frames);
        if (data.mNumberBuffers != own.mNumberBuffers) return kAudio_ParamError;
        for (UInt32 i = 0; i < own.mNumberBuffers; ++i) data.mBuffers[i] = own.mBuffers[i];
    }
    if (!fInputConverter) {
        CopyChannels(*input, data, frames);
        return noErr;
    }
    AudioBufferList& floats = fInputFloat.Prepare(frames);
    CopyChannels(*input, floats, frames);
    return AudioConverterConvertComplexBuffer(fInputConverter.get(), frames, &floats, &data);
}

void HALOutputUnit::Cycle(const AudioBufferList* input, const AudioTimeStamp& inputTime, AudioBufferList* output,
                          const AudioTimeStamp& outputTime) {
    if (fInputEnabled && input && fInputCallback.inputProc) {
        UInt32 frames = 0;
        if (fDeviceInputChannels) frames = std::min(Channel(*input, 0).frames, fInputBuffers.Capacity());
        fCycleFrames.store(frames, std::memory_order_relaxed);
        fCycleInput.store(input, std::memory_order_release);
        AudioUnitRenderActionFlags flags = 0;
        fInputCallback.inputProc(fInputCallback.inputProcRefCon, &flags, &inputTime, kInputElement, frames, nullptr);
        fCycleInput.store(nullptr, std::memory_order_release);
    }
    if (!fOutputEnabled || !output) return;
    // A device buffer larger than the room made at initialisation plays
    // silence beyond it.
    const UInt32 frames = std::min(Channel(*output, 0).frames, fRenderBuffers.Capacity());
    AudioBufferList& client = fRenderBuffers.Prepare(frames);
    AudioUnitRenderActionFlags flags = 0;
    OSStatus status = fRenderCallback.inputProc ? fRenderCallback.inputProc(fRenderCallback.inputProcRefCon, &flags,
                                                                             &outputTime, kOutputElement, frames,
                                                                             &client)
                                                : kAudioUnitErr_NoConnection;
    const AudioBufferList* played = &client;
    if (status == noErr && fRenderConverter) {
        AudioBufferList& floats = fRenderFloat.Prepare(frames);
        status = AudioConverterConvertComplexBuffer(fRenderConverter.get(), frames, &client, &floats);
        played = &floats;
    }
    if (status != noErr) {
        Silence(*output, Channel(*output, 0).frames);
        return;
    }
    CopyChannels(*played, *output, frames);
}

OSStatus HALOutputUnit::IOProc(AudioObjectID, const AudioTimeStamp* now, const AudioBufferList* input,
                               const AudioTimeStamp* inputTime, AudioBufferList* output,
                               const AudioTimeStamp* outputTime, void* clientData) {
    auto& unit = *static_cast<HALOutputUnit*>(clientData);
    if (!unit.fTimestampsAtZero) {
        unit.Cycle(input, *inputTime, output, *outputTime);
        return noErr;
    }
    // Each run's time line starts at zero.
    if (unit.fSampleOrigin < 0) unit.fSampleOrigin = now->mSampleTime;
    AudioTimeStamp in = *inputTime, out = *outputTime;
    in.mSampleTime -= unit.fSampleOrigin;
    out.mSampleTime -= unit.fSampleOrigin;
    unit.Cycle(input, in, output, out);
    return noErr;
}

} // namespace qcp::coreaudio
