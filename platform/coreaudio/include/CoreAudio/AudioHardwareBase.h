#pragma once
// CoreAudio's object model: object ids, property addresses, the HAL's status
// codes and the selectors, scopes and elements every object shares.
#include "CoreAudioTypes.h"

typedef UInt32 AudioObjectID;
typedef UInt32 AudioClassID;
typedef UInt32 AudioObjectPropertySelector;
typedef UInt32 AudioObjectPropertyScope;
typedef UInt32 AudioObjectPropertyElement;
typedef AudioObjectID AudioDeviceID;
typedef AudioObjectID AudioStreamID;
typedef AudioObjectPropertySelector AudioDevicePropertyID;
typedef AudioObjectPropertySelector AudioHardwarePropertyID;

// Names one property of an object.
struct AudioObjectPropertyAddress {
    AudioObjectPropertySelector mSelector;
    AudioObjectPropertyScope mScope;
    AudioObjectPropertyElement mElement;
};

namespace qcp::coreaudio {
constexpr OSStatus Status(const char (&code)[5]) { return static_cast<OSStatus>(FourCC(code)); }
} // namespace qcp::coreaudio

enum : OSStatus {
    kAudioHardwareNoError = 0,
    kAudioHardwareNotRunningError = qcp::coreaudio::Status("stop"),
    kAudioHardwareUnspecifiedError = qcp::coreaudio::Status("what"),
    kAudioHardwareUnknownPropertyError = qcp::coreaudio::Status("who?"),
    kAudioHardwareBadPropertySizeError = qcp::coreaudio::Status("!siz"),
    kAudioHardwareIllegalOperationError = qcp::coreaudio::Status("nope"),
    kAudioHardwareBadObjectError = qcp::coreaudio::Status("!obj"),
    kAudioHardwareBadDeviceError = qcp::coreaudio::Status("!dev"),
    kAudioHardwareBadStreamError = qcp::coreaudio::Status("!str"),
    kAudioHardwareUnsupportedOperationError = qcp::coreaudio::Status("unop"),
    kAudioHardwareNotReadyError = qcp::coreaudio::Status("nrdy"),
    kAudioDeviceUnsupportedFormatError = qcp::coreaudio::Status("!dat"),
    kAudioDevicePermissionsError = qcp::coreaudio::Status("!hog"),
};

enum : AudioObjectID {
    kAudioObjectUnknown = 0,
};

enum : AudioObjectPropertyScope {
    kAudioObjectPropertyScopeGlobal = qcp::coreaudio::FourCC("glob"),
    kAudioObjectPropertyScopeInput = qcp::coreaudio::FourCC("inpt"),
    kAudioObjectPropertyScopeOutput = qcp::coreaudio::FourCC("outp"),
    kAudioObjectPropertyScopePlayThrough = qcp::coreaudio::FourCC("ptru"),
    kAudioObjectPropertyScopeWildcard = qcp::coreaudio::FourCC("****"),
};

enum : AudioObjectPropertyElement {
    kAudioObjectPropertyElementMain = 0,
    kAudioObjectPropertyElementMaster = kAudioObjectPropertyElementMain,
    kAudioObjectPropertyElementWildcard = 0xFFFFFFFFU,
};

enum : AudioObjectPropertySelector {
    kAudioObjectPropertySelectorWildcard = qcp::coreaudio::FourCC("****"),
    kAudioObjectPropertyName = qcp::coreaudio::FourCC("lnam"),
    kAudioObjectPropertyManufacturer = qcp::coreaudio::FourCC("lmak"),
};
