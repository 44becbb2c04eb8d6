#pragma once
#include <CoreAudio/CoreAudio.h>
#include <CoreFoundation/CoreFoundation.h>

#include <string>
#include <vector>

// Small readers over the C interface, so tests say what they look at.
namespace coreaudio_test {

inline AudioObjectPropertyAddress Address(AudioObjectPropertySelector selector,
                                          AudioObjectPropertyScope scope = kAudioObjectPropertyScopeGlobal,
                                          AudioObjectPropertyElement element = kAudioObjectPropertyElementMain) {
    return {selector, scope, element};
}

template <class T>
OSStatus Read(AudioObjectID object, const AudioObjectPropertyAddress& address, T& value) {
    UInt32 size = sizeof value;
    return AudioObjectGetPropertyData(object, &address, 0, nullptr, &size, &value);
}

template <class T>
OSStatus Write(AudioObjectID object, const AudioObjectPropertyAddress& address, const T& value) {
    return AudioObjectSetPropertyData(object, &address, 0, nullptr, sizeof value, &value);
}

// A CF string property's text; "<status>" when it cannot be read.
inline std::string ReadString(AudioObjectID object, const AudioObjectPropertyAddress& address) {
    CFStringRef string = nullptr;
    if (const OSStatus status = Read(object, address, string)) return "<" + std::to_string(status) + ">";
    std::string text = string ? CFStringGetCStringPtr(string, kCFStringEncodingUTF8) : "<null>";
    if (string) CFRelease(string);
    return text;
}

inline std::vector<AudioObjectID> ReadDevices() {
    const auto address = Address(kAudioHardwarePropertyDevices);
    UInt32 size = 0;
    if (AudioObjectGetPropertyDataSize(kAudioObjectSystemObject, &address, 0, nullptr, &size)) return {};
    std::vector<AudioObjectID> devices(size / sizeof(AudioObjectID) + 1);
    size = static_cast<UInt32>(devices.size() * sizeof(AudioObjectID));
    if (AudioObjectGetPropertyData(kAudioObjectSystemObject, &address, 0, nullptr, &size, devices.data())) return {};
    devices.resize(size / sizeof(AudioObjectID));
    return devices;
}

inline AudioObjectID DeviceForUID(const std::string& uid) {
    CFStringRef string = CFStringCreateWithCString(kCFAllocatorDefault, uid.c_str(), kCFStringEncodingUTF8);
    AudioObjectID device = kAudioObjectUnknown;
    const auto address = Address(kAudioHardwarePropertyTranslateUIDToDevice);
    UInt32 size = sizeof device;
    AudioObjectGetPropertyData(kAudioObjectSystemObject, &address, sizeof string, &string, &size, &device);
    CFRelease(string);
    return device;
}

} // namespace coreaudio_test
