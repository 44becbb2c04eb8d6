#pragma once
// The virtual capture driver as the HAL shows it: two devices found by UID,
// and the driver's own properties on them (global scope, main element).
#include "CoreAudio/AudioHardwareBase.h"

// The device the system's outputs are routed into.
#define kCaptureDriverPlayedIntoUID "5C0D2E71-8A4B-4F36-B1C9-2E7D90A4F6B3"
// The device the captured sound is recorded from.
#define kCaptureDriverRecordedFromUID "7F6B3A10-2C5D-4E8A-9B21-D4C6E8F0A2B7"

enum : AudioObjectPropertySelector {
    // A CFBooleanRef: the device is listed among the system's devices.
    kCaptureDriverPropertyVisible = qcp::coreaudio::FourCC("xVdD"),
    // A CFBooleanRef: the device may become a default device.
    kCaptureDriverPropertyCanBeDefault = qcp::coreaudio::FourCC("xDdD"),
    // A CFStringRef: the driver's version, e.g. "1.0.3".
    kCaptureDriverPropertyVersion = qcp::coreaudio::FourCC("xvvD"),
};
