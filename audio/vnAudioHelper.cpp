#include "vnAudioHelper.h"

#include <algorithm>
#include <vector>

#include "CaptureDriver.h"
#include "vnAudioTrace.h"

namespace {

constexpr const char* kCoreAudioBundleID = "com.apple.audio.CoreAudio";

AudioObjectPropertyAddress Global(AudioObjectPropertySelector selector) {
    return {selector, kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMain};
}

// Translates a string (a UID or a bundle id) into an object with a
// translation property of the system object.
OSStatus Translate(AudioObjectPropertySelector selector, const char* text, AudioObjectID& object) {
    CFStringRef string =
        CFStringCreateWithCStringNoCopy(kCFAllocatorDefault, text, kCFStringEncodingUTF8, kCFAllocatorNull);
    if (!string) return kAudio_ParamError;
    AudioValueTranslation translation{&string, sizeof string, &object, sizeof object};
    UInt32 size = sizeof translation;
    const AudioObjectPropertyAddress address = Global(selector);
    const OSStatus status =
        AudioObjectGetPropertyData(kAudioObjectSystemObject, &address, 0, nullptr, &size, &translation);
    CFRelease(string);
    return status;
}

CFStringRef MakeString(const char* text) {
    return CFStringCreateWithCString(kCFAllocatorDefault, text, kCFStringEncodingUTF8);
}

} // namespace

AudioObjectID vnAudioHelper_GetDeviceID(const char* uid) {
    if (!uid) return kAudioObjectUnknown;
    AudioObjectID device = kAudioObjectUnknown;
    if (const OSStatus status = Translate(kAudioHardwarePropertyDeviceForUID, uid, device)) {
        vnAudioTraceFailure(status, "System Audio Capture: Failed to get device identifier for UID: . ");
        return kAudioObjectUnknown;
    }
    return device;
}

bool vnAudioHelper_SetDeviceVisibility(AudioObjectID device, bool visible) {
    if (device == kAudioObjectUnknown) return false;
    const AudioObjectPropertyAddress address = Global(kCaptureDriverPropertyVisible);
    const CFBooleanRef value = visible ? kCFBooleanTrue : kCFBooleanFalse;
    if (const OSStatus status = AudioObjectSetPropertyData(device, &address, 0, nullptr, sizeof value, &value)) {
        vnAudioTraceFailure(status, "System Audio Capture: Failed to set device (id: {}) visibility to {}. ", device, visible);
        return false;
    }
    return true;
}

AudioObjectID vnAudioHelper_GetSystemOutput() {
    AudioObjectID device = kAudioObjectUnknown;
    UInt32 size = sizeof device;
    const AudioObjectPropertyAddress address = Global(kAudioHardwarePropertyDefaultOutputDevice);
    if (const OSStatus status = AudioObjectGetPropertyData(kAudioObjectSystemObject, &address, 0, nullptr, &size, &device)) {
        vnAudioTraceFailure(status, "System Audio Capture: Failed to get system output device identifier. ");
        return kAudioObjectUnknown;
    }
    return device;
}

AudioObjectID vnAudioHelper_GetFirstOutputDevice() {
    const AudioObjectID captureDevice = vnAudioHelper_GetDeviceID(kCaptureDriverPlayedIntoUID);
    UInt32 size = 0;
    if (const OSStatus status = AudioHardwareGetPropertyInfo(kAudioHardwarePropertyDevices, &size, nullptr)) {
        vnAudioTraceFailure(status,
                     "System Audio Capture: Failed to get first output device due to an inablity to get property size. ");
        return kAudioObjectUnknown;
    }
    std::vector<AudioObjectID> devices(size / sizeof(AudioObjectID));
    size = static_cast<UInt32>(devices.size() * sizeof(AudioObjectID));
    // An empty list still needs somewhere to point.
    AudioObjectID none = kAudioObjectUnknown;
    if (const OSStatus status =
            AudioHardwareGetProperty(kAudioHardwarePropertyDevices, &size, devices.empty() ? &none : devices.data())) {
        vnAudioTraceFailure(status,
                     "System Audio Capture: Failed to get first output device due to an inablity to get device list. ");
        return kAudioObjectUnknown;
    }
    devices.resize(std::min<size_t>(devices.size(), size / sizeof(AudioObjectID)));
    for (const AudioObjectID device : devices) {
        if (device == captureDevice) continue;
        UInt32 streamsSize = 0;
        if (AudioDeviceGetPropertyInfo(device, 0, false, kAudioDevicePropertyStreams, &streamsSize, nullptr) ==
                kAudioHardwareNoError &&
            streamsSize > 0)
            return device;
    }
    return kAudioObjectUnknown;
}

std::string vnAudioHelper_GetNameForDevice(AudioObjectID device) {
    const AudioObjectPropertyAddress address = Global(kAudioObjectPropertyName);
    UInt32 size = 0;
    if (const OSStatus status = AudioObjectGetPropertyDataSize(device, &address, 0, nullptr, &size)) {
        vnAudioTraceFailure(status,
                     "System Audio Capture: Failed to get name for device (id: {}) because of an error getting the "
                     "property data size. ",
                     device);
        return {};
    }
    CFStringRef name = nullptr;
    size = std::min<UInt32>(size, sizeof name);
    if (const OSStatus status = AudioObjectGetPropertyData(device, &address, 0, nullptr, &size, &name)) {
        vnAudioTraceFailure(status,
                     "System Audio Capture: Failed to get name for device (id: {}) because of an error getting the "
                     "property data. ",
                     device);
        return {};
    }
    const char* text = name ? CFStringGetCStringPtr(name, kCFStringEncodingUTF8) : nullptr;
    std::string result = text ? text : "";
    if (name) CFRelease(name);
    if (!text) zTrace("System Audio Capture: Failed to convert name for device (id: {}) to a std::string as UTF8.", device);
    return result;
}

AudioObjectID vnAudioHelper_GetCoreAudioPluginID() {
    AudioObjectID plugIn = kAudioObjectUnknown;
    if (const OSStatus status = Translate(kAudioHardwarePropertyPlugInForBundleID, kCoreAudioBundleID, plugIn)) {
        vnAudioTraceFailure(status, "System Audio Capture: Failed to get CoreAudio plugin identifer. ");
        return kAudioObjectUnknown;
    }
    return plugIn;
}

AudioObjectID vnAudioHelper_CreateAggregateDevice(AudioObjectID subDevice, CFStringRef, CFStringRef) {
    const AudioObjectID plugIn = vnAudioHelper_GetCoreAudioPluginID();
    if (subDevice == kAudioObjectUnknown || plugIn == kAudioObjectUnknown) return kAudioObjectUnknown;

    CFMutableDictionaryRef description = CFDictionaryCreateMutable(
        kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    for (const auto& [key, value] : {std::pair{kAudioAggregateDeviceNameKey, kCaptureAggregateName},
                                     std::pair{kAudioAggregateDeviceUIDKey, kCaptureAggregateUID}}) {
        const CFStringRef keyString = MakeString(key);
        const CFStringRef valueString = MakeString(value);
        CFDictionarySetValue(description, keyString, valueString);
        CFRelease(keyString);
        CFRelease(valueString);
    }

    AudioObjectID aggregate = kAudioObjectUnknown;
    UInt32 size = sizeof aggregate;
    const AudioObjectPropertyAddress create = Global(kAudioPlugInCreateAggregateDevice);
    if (const OSStatus status =
            AudioObjectGetPropertyData(plugIn, &create, sizeof description, &description, &size, &aggregate)) {
        vnAudioTraceFailure(status,
                     "System Audio Capture: Failed to create aggregate device due to inability to get property data. ");
        CFRelease(description);
        return kAudioObjectUnknown;
    }

    CFStringRef subDeviceUID = nullptr;
    size = sizeof subDeviceUID;
    const AudioObjectPropertyAddress uidAddress = Global(kAudioDevicePropertyDeviceUID);
    if (const OSStatus status = AudioObjectGetPropertyData(subDevice, &uidAddress, 0, nullptr, &size, &subDeviceUID)) {
        vnAudioTraceFailure(status, "System Audio Capture: Failed to get UID for device (id: {}). ", subDevice);
        subDeviceUID = nullptr;
    }
    // Without a UID the list stays empty: a CFArray cannot hold null.
    CFMutableArrayRef subDevices = CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks);
    if (subDeviceUID) {
        CFArrayAppendValue(subDevices, subDeviceUID);
        CFRelease(subDeviceUID);
    }

    const AudioObjectPropertyAddress list = Global(kAudioAggregateDevicePropertyFullSubDeviceList);
    const CFArrayRef value = subDevices;
    const OSStatus status = AudioObjectSetPropertyData(aggregate, &list, 0, nullptr, sizeof value, &value);
    CFRelease(description);
    CFRelease(subDevices);
    if (status) {
        vnAudioTraceFailure(status,
                     "System Audio Capture: Failed to create aggregate device due to inability to set property data. ");
        return kAudioObjectUnknown;
    }
    return aggregate;
}
