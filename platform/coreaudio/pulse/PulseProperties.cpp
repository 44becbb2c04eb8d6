#include "PulseProperties.h"

#include <algorithm>
#include <cstring>

#include "AudioDeviceLayer.h"
#include "CFText.h"
#include "CaptureDriver.h"
#include "PulseAggregates.h"
#include "CoreFoundation/CoreFoundation.h"

namespace qcp::coreaudio::pulse {
namespace {

// What an address answers, before any size is looked at.
enum class Kind {
    Fixed,       // `bytes`, exactly
    List,        // `bytes`, as many whole items as fit
    Text,        // `bytes`, a C string cut to fit
    String,      // a CFStringRef of `text`
    Boolean,     // a CFBooleanRef of `flag`
    Translation, // an AudioValueTranslation of a UID into a device id
    StringArray, // a CFArrayRef of CFStrings of `texts`
    Action,      // an AudioObjectID in and out: the layer carries it out
};

struct Value {
    OSStatus status = kAudioHardwareNoError;
    Kind kind = Kind::Fixed;
    std::vector<UInt8> bytes;
    UInt32 itemSize = 1;
    std::string text;
    std::vector<std::string> texts;
    bool flag = false;
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

Value Of(Kind kind, std::string text = {}, bool flag = false, bool settable = false) {
    Value value;
    value.kind = kind;
    value.settable = settable;
    value.flag = flag;
    if (kind == Kind::Text) {
        value.bytes.assign(text.begin(), text.end());
        value.bytes.push_back(0);
    }
    value.text = std::move(text);
    return value;
}

bool IsDirection(AudioObjectPropertyScope scope) {
    return scope == kAudioObjectPropertyScopeInput || scope == kAudioObjectPropertyScopeOutput;
}

// The HAL's canonical device format: packed interleaved 32-bit floats.
AudioStreamBasicDescription StreamFormat(const PulseDeviceInfo& info) {
    return {info.rate, kAudioFormatLinearPCM, kAudioFormatFlagsNativeFloatPacked, 4 * info.channels, 1,
            4 * info.channels, info.channels, 32, 0};
}

Value DescribeSystem(const PulseDevices& devices, const AudioObjectPropertyAddress& address, UInt32 qualifierSize,
                     const void* qualifier) {
    if (address.mScope != kAudioObjectPropertyScopeGlobal || address.mElement != kAudioObjectPropertyElementMain)
        return Unknown();
    switch (address.mSelector) {
    case kAudioHardwarePropertyDevices: {
        std::vector<AudioObjectID> ids;
        for (const auto& device : devices.All())
            if (device.visible) ids.push_back(device.id);
        return List(ids);
    }
    case kAudioHardwarePropertyDefaultOutputDevice:
    case kAudioHardwarePropertyDefaultSystemOutputDevice:
    case kAudioHardwarePropertyDefaultInputDevice: return Fixed(devices.Default(address.mSelector), true);
    case kAudioHardwarePropertyDeviceForUID:
    case kAudioHardwarePropertyPlugInForBundleID: return Of(Kind::Translation);
    case kAudioHardwarePropertyTranslateUIDToDevice: {
        if (qualifierSize != sizeof(CFStringRef) || !qualifier) return Fail(kAudioHardwareBadPropertySizeError);
        const PulseDevice* device = devices.FindName(TextOf(*static_cast<const CFStringRef*>(qualifier)));
        return Fixed(device ? device->id : AudioObjectID{kAudioObjectUnknown});
    }
    default: return Unknown();
    }
}

Value DescribeDevice(const PulseDevice& device, const AudioObjectPropertyAddress& address) {
    const AudioObjectPropertyScope scope = address.mScope;
    if (address.mElement != kAudioObjectPropertyElementMain ||
        (scope != kAudioObjectPropertyScopeGlobal && !IsDirection(scope)))
        return Unknown();
    const PulseDeviceInfo& info = device.info;
    // Its one stream is in the scope of its direction.
    const bool ownScope = scope == (info.input ? kAudioObjectPropertyScopeInput : kAudioObjectPropertyScopeOutput);
    switch (address.mSelector) {
    case kAudioDevicePropertyDeviceUID: return Of(Kind::String, info.name);
    case kAudioObjectPropertyName: return Of(Kind::String, info.description);
    case kAudioDevicePropertyDeviceName: return Of(Kind::Text, info.description);
    case kAudioDevicePropertyDeviceIsAlive: return Fixed(UInt32{1});
    case kAudioDevicePropertyStreams:
        return List(ownScope || !IsDirection(scope) ? std::vector<AudioStreamID>{device.stream}
                                                    : std::vector<AudioStreamID>{});
    case kAudioDevicePropertyStreamConfiguration: {
        if (!IsDirection(scope)) return Unknown();
        Value value;
        value.bytes.resize(offsetof(AudioBufferList, mBuffers) + (ownScope ? sizeof(AudioBuffer) : 0));
        auto* list = reinterpret_cast<AudioBufferList*>(value.bytes.data());
        list->mNumberBuffers = ownScope ? 1 : 0;
        if (ownScope) list->mBuffers[0] = AudioBuffer{info.channels, 0, nullptr};
        return value;
    }
    // Settable, though only to the rate it has: the server picks rates.
    case kAudioDevicePropertyNominalSampleRate: return Fixed(info.rate, true);
    case kAudioDevicePropertyAvailableNominalSampleRates:
        return List(std::vector<AudioValueRange>{{info.rate, info.rate}});
    case kAudioDevicePropertyBufferFrameSize: return Fixed(device.bufferFrameSize, true);
    case kAudioDevicePropertyBufferFrameSizeRange:
        return Fixed(AudioValueRange{Float64(PulseDevices::kMinBufferFrameSize),
                                     Float64(PulseDevices::kMaxBufferFrameSize)});
    case kAudioDevicePropertySafetyOffset: return IsDirection(scope) ? Fixed(UInt32{0}) : Unknown();
    case kAudioDevicePropertyStreamFormat: return ownScope ? Fixed(StreamFormat(info)) : Unknown();
    case kAudioDevicePropertyVolumeScalar:
        return ownScope && !info.input ? Fixed(info.volume, true) : Unknown();
    case kAudioDevicePropertyMute: return ownScope && !info.input ? Fixed(UInt32{info.mute}, true) : Unknown();
    case kCaptureDriverPropertyVisible:
        return device.captureDriver ? Of(Kind::Boolean, {}, device.visible, true) : Unknown();
    case kCaptureDriverPropertyCanBeDefault:
        return device.captureDriver ? Of(Kind::Boolean, {}, device.canBeDefault, true) : Unknown();
    case kCaptureDriverPropertyVersion: return device.captureDriver ? Of(Kind::String, info.driverVersion) : Unknown();
    case kAudioAggregateDevicePropertyFullSubDeviceList: {
        if (!info.aggregate) return Unknown();
        Value value = Of(Kind::StringArray, {}, false, true);
        value.texts = device.subDevices;
        return value;
    }
    default: return Unknown();
    }
}

Value DescribeStream(const PulseDevice& device, const AudioObjectPropertyAddress& address) {
    if (address.mScope != kAudioObjectPropertyScopeGlobal || address.mElement != kAudioObjectPropertyElementMain)
        return Unknown();
    switch (address.mSelector) {
    case kAudioStreamPropertyDirection: return Fixed(UInt32{device.info.input});
    case kAudioStreamPropertyPhysicalFormat: return Fixed(StreamFormat(device.info), true);
    case kAudioStreamPropertyVirtualFormat: return Fixed(StreamFormat(device.info));
    default: return Unknown();
    }
}

Value Describe(const PulseDevices& devices, AudioObjectID object, const AudioObjectPropertyAddress& address,
               UInt32 qualifierSize, const void* qualifier) {
    if (object == kAudioObjectSystemObject) return DescribeSystem(devices, address, qualifierSize, qualifier);
    if (object == kPlugInID) return IsAggregateAction(object, address) ? Of(Kind::Action) : Unknown();
    if (const PulseDevice* device = devices.Find(object)) return DescribeDevice(*device, address);
    if (const PulseDevice* device = devices.FindStream(object)) return DescribeStream(*device, address);
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

OSStatus Translate(const PulseDevices& devices, AudioObjectPropertySelector selector, UInt32 size, void* data) {
    if (size != sizeof(AudioValueTranslation)) return kAudioHardwareBadPropertySizeError;
    AudioValueTranslation translation;
    std::memcpy(&translation, data, sizeof translation);
    if (translation.mInputDataSize != sizeof(CFStringRef) || translation.mOutputDataSize != sizeof(AudioObjectID) ||
        !translation.mInputData || !translation.mOutputData)
        return kAudioHardwareBadPropertySizeError;
    const std::string key = TextOf(*static_cast<const CFStringRef*>(translation.mInputData));
    AudioObjectID id = kAudioObjectUnknown;
    if (selector == kAudioHardwarePropertyPlugInForBundleID) {
        if (key == kCoreAudioPlugInBundleID) id = kPlugInID;
    } else if (const PulseDevice* device = devices.FindName(key)) {
        id = device->id;
    }
    std::memcpy(translation.mOutputData, &id, sizeof id);
    return kAudioHardwareNoError;
}

// A value of a CF kind, owned by the caller.
CFTypeRef MakeObject(const Value& value) {
    switch (value.kind) {
    case Kind::Boolean: return value.flag ? kCFBooleanTrue : kCFBooleanFalse;
    case Kind::String: return MakeString(value.text);
    default: return MakeStringArray(value.texts);
    }
}

OSStatus SetDevice(PulseDevices& devices, PulseDevice& device, const AudioObjectPropertyAddress& address,
                   const void* data, Changes& changes, PulseRequest& request) {
    request.input = device.info.input;
    request.index = device.info.index;
    request.channels = device.info.channels;
    switch (address.mSelector) {
    case kAudioDevicePropertyNominalSampleRate: {
        Float64 rate;
        std::memcpy(&rate, data, sizeof rate);
        return rate == device.info.rate ? kAudioHardwareNoError : kAudioHardwareIllegalOperationError;
    }
    case kAudioDevicePropertyBufferFrameSize: {
        UInt32 frames;
        std::memcpy(&frames, data, sizeof frames);
        devices.SetBufferFrameSize(device, frames, address, changes);
        return kAudioHardwareNoError;
    }
    case kAudioDevicePropertyVolumeScalar: {
        Float32 volume;
        std::memcpy(&volume, data, sizeof volume);
        request.kind = PulseRequest::Kind::Volume;
        request.volume = std::clamp(volume, 0.0f, 1.0f);
        return kAudioHardwareNoError;
    }
    case kAudioDevicePropertyMute: {
        UInt32 mute;
        std::memcpy(&mute, data, sizeof mute);
        request.kind = PulseRequest::Kind::Mute;
        request.mute = mute != 0;
        return kAudioHardwareNoError;
    }
    case kCaptureDriverPropertyVisible:
    case kCaptureDriverPropertyCanBeDefault: {
        CFBooleanRef flag;
        std::memcpy(&flag, data, sizeof flag);
        if (!flag || CFGetTypeID(flag) != CFBooleanGetTypeID()) return kAudioHardwareIllegalOperationError;
        devices.SetDriverFlag(device, address.mSelector, CFBooleanGetValue(flag), changes);
        return kAudioHardwareNoError;
    }
    case kAudioAggregateDevicePropertyFullSubDeviceList:
        if (!StringsOf(data, request.subDevices)) return kAudioHardwareIllegalOperationError;
        request.kind = PulseRequest::Kind::SubDevices;
        request.device = device.id;
        return kAudioHardwareNoError;
    default: return kAudioHardwareIllegalOperationError;
    }
}

} // namespace

bool HasProperty(const PulseDevices& devices, AudioObjectID object, const AudioObjectPropertyAddress& address) {
    return Describe(devices, object, address, 0, nullptr).status == kAudioHardwareNoError;
}

OSStatus IsPropertySettable(const PulseDevices& devices, AudioObjectID object,
                            const AudioObjectPropertyAddress& address, bool& settable) {
    const Value value = Describe(devices, object, address, 0, nullptr);
    settable = value.settable;
    return value.status;
}

OSStatus GetPropertyDataSize(const PulseDevices& devices, AudioObjectID object,
                             const AudioObjectPropertyAddress& address, UInt32 qualifierSize, const void* qualifier,
                             UInt32& size) {
    const Value value = Describe(devices, object, address, qualifierSize, qualifier);
    if (value.status == kAudioHardwareNoError) size = SizeOf(value);
    return value.status;
}

OSStatus GetPropertyData(const PulseDevices& devices, AudioObjectID object, const AudioObjectPropertyAddress& address,
                         UInt32 qualifierSize, const void* qualifier, UInt32& size, void* data) {
    const Value value = Describe(devices, object, address, qualifierSize, qualifier);
    if (value.status != kAudioHardwareNoError) return value.status;
    const UInt32 whole = SizeOf(value);
    switch (value.kind) {
    case Kind::Translation: return Translate(devices, address.mSelector, size, data);
    // Carried out by the layer, which has the server.
    case Kind::Action: return kAudioHardwareUnsupportedOperationError;
    case Kind::List: size = std::min(whole, size / value.itemSize * value.itemSize); break;
    case Kind::Text:
        if (size == 0) return kAudioHardwareBadPropertySizeError;
        size = std::min(whole, size);
        std::memcpy(data, value.bytes.data(), size);
        static_cast<char*>(data)[size - 1] = 0;
        return kAudioHardwareNoError;
    default:
        if (size < whole) return kAudioHardwareBadPropertySizeError;
        size = whole;
        break;
    }
    if (value.kind == Kind::String || value.kind == Kind::Boolean || value.kind == Kind::StringArray) {
        const CFTypeRef made = MakeObject(value);
        std::memcpy(data, &made, sizeof made);
        return kAudioHardwareNoError;
    }
    if (size) std::memcpy(data, value.bytes.data(), size);
    return kAudioHardwareNoError;
}

OSStatus SetPropertyData(PulseDevices& devices, AudioObjectID object, const AudioObjectPropertyAddress& address,
                         UInt32 size, const void* data, Changes& changes, PulseRequest& request) {
    const Value value = Describe(devices, object, address, 0, nullptr);
    if (value.status != kAudioHardwareNoError) return value.status;
    if (!value.settable) return kAudioHardwareIllegalOperationError;
    if (size != SizeOf(value)) return kAudioHardwareBadPropertySizeError;
    if (object == kAudioObjectSystemObject) {
        AudioObjectID id;
        std::memcpy(&id, data, sizeof id);
        const PulseDevice* device = devices.Find(id);
        if (!device) return kAudioHardwareBadDeviceError;
        if (!PulseDevices::CanBeDefault(*device, address.mSelector)) return kAudioHardwareIllegalOperationError;
        request.kind = device->info.input ? PulseRequest::Kind::DefaultSource : PulseRequest::Kind::DefaultSink;
        request.name = device->info.name;
        return kAudioHardwareNoError;
    }
    if (PulseDevice* device = devices.Find(object)) return SetDevice(devices, *device, address, data, changes, request);
    // A stream's physical format: only the device's own rate is taken.
    const PulseDevice& device = *devices.FindStream(object);
    AudioStreamBasicDescription format;
    std::memcpy(&format, data, sizeof format);
    if (format.mFormatID != kAudioFormatLinearPCM || format.mChannelsPerFrame != device.info.channels ||
        format.mSampleRate != device.info.rate)
        return kAudioHardwareIllegalOperationError;
    return kAudioHardwareNoError;
}

} // namespace qcp::coreaudio::pulse
