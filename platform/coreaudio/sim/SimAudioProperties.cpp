#include "SimAudioProperties.h"

#include <algorithm>
#include <cstring>

#include "AudioDeviceLayer.h"
#include "CFText.h"
#include "CaptureDriver.h"
#include "CoreFoundation/CoreFoundation.h"

namespace qcp::coreaudio::sim {
namespace {

// What an address answers, before any size is looked at.
enum class Kind {
    Fixed,       // `bytes`, exactly
    List,        // `bytes`, as many whole items as fit
    Text,        // `bytes`, a C string cut to fit
    String,      // a CFStringRef of `text`
    Boolean,     // a CFBooleanRef of `flag`
    StringArray, // a CFArrayRef of CFStrings of `texts`
    Translation, // an AudioValueTranslation of a CFString into an object id
    Action,      // an object id read in or out by the CoreAudio plug-in
};

struct Value {
    OSStatus status = kAudioHardwareNoError;
    Kind kind = Kind::Fixed;
    std::vector<UInt8> bytes;
    UInt32 itemSize = 1;
    std::string text;
    bool flag = false;
    std::vector<std::string> texts;
    bool settable = false;
};

Value Fail(OSStatus status) {
    Value value;
    value.status = status;
    return value;
}

Value Unknown() { return Fail(kAudioHardwareUnknownPropertyError); }

template <class T>
Value Fixed(const T& item, bool settable = false) {
    Value value;
    value.bytes.resize(sizeof(T));
    std::memcpy(value.bytes.data(), &item, sizeof(T));
    value.settable = settable;
    return value;
}

template <class T>
Value List(const std::vector<T>& items) {
    Value value;
    value.kind = Kind::List;
    value.itemSize = sizeof(T);
    value.bytes.resize(items.size() * sizeof(T));
    if (!items.empty()) std::memcpy(value.bytes.data(), items.data(), value.bytes.size());
    return value;
}

Value Of(Kind kind, bool settable = false) {
    Value value;
    value.kind = kind;
    value.settable = settable;
    return value;
}

Value Text(const std::string& text) {
    Value value = Of(Kind::Text);
    value.bytes.assign(text.begin(), text.end());
    value.bytes.push_back(0);
    return value;
}

Value String(std::string text) {
    Value value = Of(Kind::String);
    value.text = std::move(text);
    return value;
}

Value Boolean(bool flag) {
    Value value = Of(Kind::Boolean, true);
    value.flag = flag;
    return value;
}

bool IsDirection(AudioObjectPropertyScope scope) {
    return scope == kAudioObjectPropertyScopeInput || scope == kAudioObjectPropertyScopeOutput;
}

Value StreamConfiguration(const std::vector<UInt32>& channels) {
    Value value;
    value.bytes.resize(offsetof(AudioBufferList, mBuffers) + channels.size() * sizeof(AudioBuffer));
    auto* list = reinterpret_cast<AudioBufferList*>(value.bytes.data());
    list->mNumberBuffers = static_cast<UInt32>(channels.size());
    for (size_t i = 0; i < channels.size(); ++i) list->mBuffers[i] = AudioBuffer{channels[i], 0, nullptr};
    return value;
}

// The HAL's canonical device format: packed interleaved 32-bit floats.
AudioStreamBasicDescription StreamFormat(Float64 rate, UInt32 channels) {
    return {rate, kAudioFormatLinearPCM, kAudioFormatFlagsNativeFloatPacked, 4 * channels, 1, 4 * channels,
            channels, 32, 0};
}

Value DescribeSystem(const SimAudioState& state, const AudioObjectPropertyAddress& address, UInt32 qualifierSize,
                     const void* qualifier) {
    if (address.mScope != kAudioObjectPropertyScopeGlobal || address.mElement != kAudioObjectPropertyElementMain)
        return Unknown();
    switch (address.mSelector) {
    case kAudioHardwarePropertyDevices: {
        std::vector<AudioObjectID> ids;
        for (const auto& device : state.Devices())
            if (device.state.visible) ids.push_back(device.id);
        return List(ids);
    }
    case kAudioHardwarePropertyDefaultOutputDevice: return Fixed(state.DefaultOutput(), true);
    case kAudioHardwarePropertyDefaultSystemOutputDevice: return Fixed(state.SystemOutput(), true);
    case kAudioHardwarePropertyDefaultInputDevice: return Fixed(state.DefaultInput(), true);
    case kAudioHardwarePropertyDeviceForUID:
    case kAudioHardwarePropertyPlugInForBundleID: return Of(Kind::Translation);
    case kAudioHardwarePropertyTranslateUIDToDevice: {
        if (qualifierSize != sizeof(CFStringRef) || !qualifier) return Fail(kAudioHardwareBadPropertySizeError);
        const SimAudioDevice* device = state.FindUID(TextOf(*static_cast<const CFStringRef*>(qualifier)));
        return Fixed(device ? device->id : AudioObjectID{kAudioObjectUnknown});
    }
    default: return Unknown();
    }
}

Value DescribeDevice(const SimAudioDevice& device, const AudioObjectPropertyAddress& address) {
    const AudioObjectPropertyScope scope = address.mScope;
    if (address.mElement != kAudioObjectPropertyElementMain ||
        (scope != kAudioObjectPropertyScopeGlobal && !IsDirection(scope)))
        return Unknown();
    const SimAudioDeviceSetup& state = device.state;
    const bool input = scope == kAudioObjectPropertyScopeInput;
    const std::vector<UInt32>& channels = input ? state.inputStreams : state.outputStreams;
    const bool hasStreams = IsDirection(scope) && !channels.empty();
    switch (address.mSelector) {
    case kAudioDevicePropertyDeviceUID: return String(state.uid);
    case kAudioObjectPropertyName: return String(state.name);
    case kAudioDevicePropertyDeviceName: return Text(state.name);
    case kAudioDevicePropertyDeviceIsAlive: return Fixed(UInt32{1});
    case kAudioDevicePropertyStreams: {
        if (IsDirection(scope)) return List(input ? device.inputStreams : device.outputStreams);
        std::vector<AudioStreamID> all = device.inputStreams;
        all.insert(all.end(), device.outputStreams.begin(), device.outputStreams.end());
        return List(all);
    }
    case kAudioDevicePropertyStreamConfiguration:
        return IsDirection(scope) ? StreamConfiguration(channels) : Unknown();
    case kAudioDevicePropertyNominalSampleRate: return Fixed(state.nominalRate, true);
    case kAudioDevicePropertyAvailableNominalSampleRates: {
        std::vector<AudioValueRange> ranges;
        for (const Float64 rate : state.availableRates) ranges.push_back({rate, rate});
        return List(ranges);
    }
    case kAudioDevicePropertyBufferFrameSize: return Fixed(state.bufferFrameSize, true);
    case kAudioDevicePropertyBufferFrameSizeRange:
        return Fixed(AudioValueRange{Float64(state.minBufferFrameSize), Float64(state.maxBufferFrameSize)});
    case kAudioDevicePropertySafetyOffset:
        return IsDirection(scope) ? Fixed(input ? state.inputSafetyOffset : state.outputSafetyOffset) : Unknown();
    case kAudioDevicePropertyStreamFormat:
        return hasStreams ? Fixed(StreamFormat(state.nominalRate, channels.front())) : Unknown();
    case kAudioDevicePropertyVolumeScalar: return hasStreams ? Fixed(state.volume, true) : Unknown();
    case kAudioDevicePropertyMute: return hasStreams ? Fixed(UInt32{state.mute}, true) : Unknown();
    case kCaptureDriverPropertyVisible: return state.captureDriver ? Boolean(state.visible) : Unknown();
    case kCaptureDriverPropertyCanBeDefault: return state.captureDriver ? Boolean(state.canBeDefault) : Unknown();
    case kCaptureDriverPropertyVersion: return state.captureDriver ? String(state.driverVersion) : Unknown();
    case kAudioAggregateDevicePropertyFullSubDeviceList: {
        if (!device.aggregate) return Unknown();
        Value value = Of(Kind::StringArray, true);
        value.texts = device.subDeviceUIDs;
        return value;
    }
    default: return Unknown();
    }
}

Value DescribeStream(const SimAudioDevice& device, bool input, size_t index,
                     const AudioObjectPropertyAddress& address) {
    if (address.mScope != kAudioObjectPropertyScopeGlobal || address.mElement != kAudioObjectPropertyElementMain)
        return Unknown();
    const UInt32 channels = (input ? device.state.inputStreams : device.state.outputStreams)[index];
    switch (address.mSelector) {
    case kAudioStreamPropertyDirection: return Fixed(UInt32{input});
    case kAudioStreamPropertyPhysicalFormat: return Fixed(StreamFormat(device.state.nominalRate, channels), true);
    case kAudioStreamPropertyVirtualFormat: return Fixed(StreamFormat(device.state.nominalRate, channels));
    default: return Unknown();
    }
}

// Every stream's formats change with the device's rate.
void StreamFormatsChanged(const SimAudioDevice& device, SimAudioChanges& changes) {
    for (const auto* streams : {&device.inputStreams, &device.outputStreams}) {
        for (const AudioStreamID stream : *streams) {
            for (const AudioObjectPropertySelector selector :
                 {kAudioStreamPropertyPhysicalFormat, kAudioStreamPropertyVirtualFormat})
                changes.push_back(
                    {stream, {selector, kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMain}});
        }
    }
}

Value Describe(const SimAudioState& state, AudioObjectID object, const AudioObjectPropertyAddress& address,
               UInt32 qualifierSize, const void* qualifier) {
    if (object == kAudioObjectSystemObject) return DescribeSystem(state, address, qualifierSize, qualifier);
    if (object == state.PlugIn()) {
        const bool action = address.mSelector == kAudioPlugInCreateAggregateDevice ||
                            address.mSelector == kAudioPlugInDestroyAggregateDevice;
        return action && address.mElement == kAudioObjectPropertyElementMain ? Of(Kind::Action) : Unknown();
    }
    if (const SimAudioDevice* device = state.Find(object)) return DescribeDevice(*device, address);
    bool input = false;
    size_t index = 0;
    if (const SimAudioDevice* device = const_cast<SimAudioState&>(state).FindStream(object, input, index))
        return DescribeStream(*device, input, index, address);
    return Fail(kAudioHardwareBadObjectError);
}

UInt32 SizeOf(const Value& value) {
    switch (value.kind) {
    case Kind::Fixed:
    case Kind::List:
    case Kind::Text: return static_cast<UInt32>(value.bytes.size());
    case Kind::String:
    case Kind::Boolean:
    case Kind::StringArray: return sizeof(CFTypeRef);
    case Kind::Translation: return sizeof(AudioValueTranslation);
    case Kind::Action: return sizeof(AudioObjectID);
    }
    return 0;
}

OSStatus Translate(const SimAudioState& state, AudioObjectPropertySelector selector, UInt32 size, void* data) {
    if (size != sizeof(AudioValueTranslation)) return kAudioHardwareBadPropertySizeError;
    AudioValueTranslation translation;
    std::memcpy(&translation, data, sizeof translation);
    if (translation.mInputDataSize != sizeof(CFStringRef) || translation.mOutputDataSize != sizeof(AudioObjectID) ||
        !translation.mInputData || !translation.mOutputData)
        return kAudioHardwareBadPropertySizeError;
    const std::string key = TextOf(*static_cast<const CFStringRef*>(translation.mInputData));
    AudioObjectID id = kAudioObjectUnknown;
    if (selector == kAudioHardwarePropertyPlugInForBundleID) {
        if (key == kCoreAudioPlugInBundleID) id = state.PlugIn();
    } else if (const SimAudioDevice* device = state.FindUID(key)) {
        id = device->id;
    }
    std::memcpy(translation.mOutputData, &id, sizeof id);
    return kAudioHardwareNoError;
}

OSStatus CreateAggregate(SimAudioState& state, UInt32 qualifierSize, const void* qualifier, void* data,
                         SimAudioChanges& changes) {
    if (qualifierSize != sizeof(CFDictionaryRef) || !qualifier) return kAudioHardwareIllegalOperationError;
    const auto description = *static_cast<const CFDictionaryRef*>(qualifier);
    if (!description || CFGetTypeID(description) != CFDictionaryGetTypeID()) return kAudioHardwareIllegalOperationError;
    SimAudioDeviceSetup setup;
    setup.uid = TextForKey(description, kAudioAggregateDeviceUIDKey);
    setup.name = TextForKey(description, kAudioAggregateDeviceNameKey);
    if (setup.uid.empty()) return kAudioHardwareIllegalOperationError;
    const AudioObjectID id = state.Add(std::move(setup), true, changes);
    if (id == kAudioObjectUnknown) return kAudioHardwareIllegalOperationError;
    std::memcpy(data, &id, sizeof id);
    return kAudioHardwareNoError;
}

OSStatus DestroyAggregate(SimAudioState& state, const void* data, SimAudioChanges& changes) {
    AudioObjectID id;
    std::memcpy(&id, data, sizeof id);
    const SimAudioDevice* device = state.Find(id);
    if (!device || !device->aggregate) return kAudioHardwareBadDeviceError;
    state.Remove(id, changes);
    return kAudioHardwareNoError;
}

CFTypeRef MakeObject(const Value& value) {
    switch (value.kind) {
    case Kind::String: return MakeString(value.text);
    case Kind::Boolean: return value.flag ? kCFBooleanTrue : kCFBooleanFalse;
    default: return MakeStringArray(value.texts);
    }
}

OSStatus SetDevice(SimAudioState& state, SimAudioDevice& device, const AudioObjectPropertyAddress& address,
                   const void* data, SimAudioChanges& changes) {
    SimAudioDeviceSetup& setup = device.state;
    const auto changed = [&](auto& field, auto value) {
        if (field == value) return;
        field = value;
        changes.push_back({device.id, address});
    };
    switch (address.mSelector) {
    case kAudioDevicePropertyNominalSampleRate: {
        Float64 rate;
        std::memcpy(&rate, data, sizeof rate);
        if (std::find(setup.availableRates.begin(), setup.availableRates.end(), rate) == setup.availableRates.end())
            return kAudioHardwareIllegalOperationError;
        if (setup.nominalRate == rate) return kAudioHardwareNoError;
        changed(setup.nominalRate, rate);
        StreamFormatsChanged(device, changes);
        return kAudioHardwareNoError;
    }
    case kAudioDevicePropertyBufferFrameSize: {
        UInt32 frames;
        std::memcpy(&frames, data, sizeof frames);
        frames = std::clamp(frames, setup.minBufferFrameSize, setup.maxBufferFrameSize);
        const UInt32 granularity = std::max<UInt32>(setup.bufferFrameGranularity, 1);
        changed(setup.bufferFrameSize, std::max(frames / granularity * granularity, granularity));
        return kAudioHardwareNoError;
    }
    case kAudioDevicePropertyVolumeScalar: {
        Float32 volume;
        std::memcpy(&volume, data, sizeof volume);
        changed(setup.volume, std::clamp(volume, 0.0f, 1.0f));
        return kAudioHardwareNoError;
    }
    case kAudioDevicePropertyMute: {
        UInt32 mute;
        std::memcpy(&mute, data, sizeof mute);
        changed(setup.mute, mute != 0);
        return kAudioHardwareNoError;
    }
    case kCaptureDriverPropertyVisible:
    case kCaptureDriverPropertyCanBeDefault: {
        CFBooleanRef flag;
        std::memcpy(&flag, data, sizeof flag);
        if (!flag || CFGetTypeID(flag) != CFBooleanGetTypeID()) return kAudioHardwareIllegalOperationError;
        const bool visibility = address.mSelector == kCaptureDriverPropertyVisible;
        const bool was = visibility ? setup.visible : setup.canBeDefault;
        changed(visibility ? setup.visible : setup.canBeDefault, bool(CFBooleanGetValue(flag)));
        if (visibility && was != setup.visible)
            changes.push_back({kAudioObjectSystemObject,
                               {kAudioHardwarePropertyDevices, kAudioObjectPropertyScopeGlobal,
                                kAudioObjectPropertyElementMain}});
        return kAudioHardwareNoError;
    }
    case kAudioAggregateDevicePropertyFullSubDeviceList: {
        std::vector<std::string> uids;
        if (!StringsOf(data, uids)) return kAudioHardwareIllegalOperationError;
        state.SetSubDevices(device, std::move(uids), changes);
        return kAudioHardwareNoError;
    }
    default: return kAudioHardwareIllegalOperationError;
    }
}

} // namespace

bool HasProperty(const SimAudioState& state, AudioObjectID object, const AudioObjectPropertyAddress& address) {
    return Describe(state, object, address, 0, nullptr).status == kAudioHardwareNoError;
}

OSStatus IsPropertySettable(const SimAudioState& state, AudioObjectID object,
                            const AudioObjectPropertyAddress& address, bool& settable) {
    const Value value = Describe(state, object, address, 0, nullptr);
    settable = value.settable;
    return value.status;
}

OSStatus GetPropertyDataSize(const SimAudioState& state, AudioObjectID object,
                             const AudioObjectPropertyAddress& address, UInt32 qualifierSize, const void* qualifier,
                             UInt32& size) {
    const Value value = Describe(state, object, address, qualifierSize, qualifier);
    if (value.status == kAudioHardwareNoError) size = SizeOf(value);
    return value.status;
}

OSStatus GetPropertyData(SimAudioState& state, AudioObjectID object, const AudioObjectPropertyAddress& address,
                         UInt32 qualifierSize, const void* qualifier, UInt32& size, void* data,
                         SimAudioChanges& changes) {
    const Value value = Describe(state, object, address, qualifierSize, qualifier);
    if (value.status != kAudioHardwareNoError) return value.status;
    const UInt32 whole = SizeOf(value);
    switch (value.kind) {
    case Kind::List: size = std::min(whole, size / value.itemSize * value.itemSize); break;
    case Kind::Text:
        if (size == 0) return kAudioHardwareBadPropertySizeError;
        size = std::min(whole, size);
        std::memcpy(data, value.bytes.data(), size);
        static_cast<char*>(data)[size - 1] = 0;
        return kAudioHardwareNoError;
    case Kind::Translation: return Translate(state, address.mSelector, size, data);
    default:
        if (size < whole) return kAudioHardwareBadPropertySizeError;
        size = whole;
        break;
    }
    switch (value.kind) {
    case Kind::String:
    case Kind::Boolean:
    case Kind::StringArray: {
        const CFTypeRef made = MakeObject(value);
        std::memcpy(data, &made, sizeof made);
        return kAudioHardwareNoError;
    }
    case Kind::Action:
        return address.mSelector == kAudioPlugInCreateAggregateDevice
                   ? CreateAggregate(state, qualifierSize, qualifier, data, changes)
                   : DestroyAggregate(state, data, changes);
    default:
        if (size) std::memcpy(data, value.bytes.data(), size);
        return kAudioHardwareNoError;
    }
}

OSStatus SetPropertyData(SimAudioState& state, AudioObjectID object, const AudioObjectPropertyAddress& address,
                         UInt32 size, const void* data, SimAudioChanges& changes) {
    const Value value = Describe(state, object, address, 0, nullptr);
    if (value.status != kAudioHardwareNoError) return value.status;
    if (!value.settable) return kAudioHardwareIllegalOperationError;
    if (size != SizeOf(value)) return kAudioHardwareBadPropertySizeError;
    if (object == kAudioObjectSystemObject) {
        AudioObjectID device;
        std::memcpy(&device, data, sizeof device);
        if (!state.Find(device)) return kAudioHardwareBadDeviceError;
        return state.SetDefault(address.mSelector, device, changes) ? kAudioHardwareNoError
                                                                    : kAudioHardwareIllegalOperationError;
    }
    if (SimAudioDevice* device = state.Find(object)) return SetDevice(state, *device, address, data, changes);
    // A stream's physical format: only its rate can change, for the device.
    bool input = false;
    size_t index = 0;
    SimAudioDevice& device = *state.FindStream(object, input, index);
    AudioStreamBasicDescription format;
    std::memcpy(&format, data, sizeof format);
    const UInt32 channels = (input ? device.state.inputStreams : device.state.outputStreams)[index];
    if (format.mFormatID != kAudioFormatLinearPCM || format.mChannelsPerFrame != channels)
        return kAudioHardwareIllegalOperationError;
    const AudioObjectPropertyAddress rate{kAudioDevicePropertyNominalSampleRate, kAudioObjectPropertyScopeGlobal,
                                          kAudioObjectPropertyElementMain};
    return SetDevice(state, device, rate, &format.mSampleRate, changes);
}

} // namespace qcp::coreaudio::sim
