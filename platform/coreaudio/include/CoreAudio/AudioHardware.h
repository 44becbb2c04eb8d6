#pragma once
// The HAL's property interface: the system object, the selectors of the
// system, devices and the CoreAudio plug-in, and the AudioObject functions.
// On systems without CoreAudio the functions are answered by the installed
// AudioDeviceLayer (AudioDeviceLayer.h); with none installed every one of
// them returns kAudioHardwareNotRunningError (HasProperty answers false).
#include <Block.h>
#include <dispatch/dispatch.h>

#include "AudioHardwareBase.h"

enum : AudioObjectID {
    kAudioObjectSystemObject = 1,
};

// The system object's properties.
enum : AudioObjectPropertySelector {
    kAudioHardwarePropertyDevices = qcp::coreaudio::FourCC("dev#"),
    kAudioHardwarePropertyDefaultInputDevice = qcp::coreaudio::FourCC("dIn "),
    kAudioHardwarePropertyDefaultOutputDevice = qcp::coreaudio::FourCC("dOut"),
    kAudioHardwarePropertyDefaultSystemOutputDevice = qcp::coreaudio::FourCC("sOut"),
    // An AudioValueTranslation: a CFStringRef UID in, an AudioObjectID out.
    kAudioHardwarePropertyDeviceForUID = qcp::coreaudio::FourCC("duid"),
    // A CFStringRef UID as qualifier, an AudioObjectID as value.
    kAudioHardwarePropertyTranslateUIDToDevice = qcp::coreaudio::FourCC("uidd"),
    // An AudioValueTranslation: a CFStringRef bundle id in, an AudioObjectID out.
    kAudioHardwarePropertyPlugInForBundleID = qcp::coreaudio::FourCC("pibi"),
};

// A device's properties.
enum : AudioObjectPropertySelector {
    kAudioDevicePropertyDeviceUID = qcp::coreaudio::FourCC("uid "),
    kAudioDevicePropertyDeviceIsAlive = qcp::coreaudio::FourCC("livn"),
    kAudioDevicePropertyDeviceIsRunning = qcp::coreaudio::FourCC("goin"),
    kAudioDevicePropertyStreams = qcp::coreaudio::FourCC("stm#"),
    kAudioDevicePropertyStreamConfiguration = qcp::coreaudio::FourCC("slay"),
    kAudioDevicePropertyNominalSampleRate = qcp::coreaudio::FourCC("nsrt"),
    kAudioDevicePropertyAvailableNominalSampleRates = qcp::coreaudio::FourCC("nsr#"),
    kAudioDevicePropertyBufferFrameSize = qcp::coreaudio::FourCC("fsiz"),
    kAudioDevicePropertyBufferFrameSizeRange = qcp::coreaudio::FourCC("fsz#"),
    kAudioDevicePropertySafetyOffset = qcp::coreaudio::FourCC("saft"),
    kAudioDevicePropertyStreamFormat = qcp::coreaudio::FourCC("sfmt"),
    kAudioDevicePropertyVolumeScalar = qcp::coreaudio::FourCC("volm"),
    kAudioDevicePropertyMute = qcp::coreaudio::FourCC("mute"),
    kAudioDevicePropertyHogMode = qcp::coreaudio::FourCC("oink"),
    kAudioDevicePropertyDeviceName = qcp::coreaudio::FourCC("name"),
};

// A stream's properties, global scope, main element.
enum : AudioObjectPropertySelector {
    // A UInt32: 1 for an input stream, 0 for an output stream.
    kAudioStreamPropertyDirection = qcp::coreaudio::FourCC("sdir"),
    // An AudioStreamBasicDescription: the format the hardware runs at;
    // setting another rate sets the device's nominal rate.
    kAudioStreamPropertyPhysicalFormat = qcp::coreaudio::FourCC("pft "),
    // An AudioStreamBasicDescription: the format clients see.
    kAudioStreamPropertyVirtualFormat = qcp::coreaudio::FourCC("sfmt"),
};

// The CoreAudio plug-in's aggregate-device properties. Creating takes the
// description (a CFDictionaryRef) as qualifier and answers the new device's
// id; destroying takes the device's id as value.
enum : AudioObjectPropertySelector {
    kAudioPlugInCreateAggregateDevice = qcp::coreaudio::FourCC("cagg"),
    kAudioPlugInDestroyAggregateDevice = qcp::coreaudio::FourCC("dagg"),
    kAudioAggregateDevicePropertyFullSubDeviceList = qcp::coreaudio::FourCC("grup"),
};

// Keys of an aggregate device's description.
#define kAudioAggregateDeviceNameKey "name"
#define kAudioAggregateDeviceUIDKey "uid"

// Called on the system's notification thread when any of `inAddresses`
// changed on `inObjectID`; its status is ignored.
typedef OSStatus (*AudioObjectPropertyListenerProc)(AudioObjectID inObjectID, UInt32 inNumberAddresses,
                                                    const AudioObjectPropertyAddress* inAddresses, void* inClientData);

// The block form of a listener: called on the queue it was registered with,
// with the addresses that changed (valid for the call only).
typedef qcp::coreaudio::Block<void(UInt32 inNumberAddresses, const AudioObjectPropertyAddress* inAddresses)>
    AudioObjectPropertyListenerBlock;

// Called once per I/O cycle of a running device with the input it recorded
// and the output it is about to play (either may be empty), each with its
// time; its status is ignored.
typedef OSStatus (*AudioDeviceIOProc)(AudioObjectID inDevice, const AudioTimeStamp* inNow,
                                      const AudioBufferList* inInputData, const AudioTimeStamp* inInputTime,
                                      AudioBufferList* outOutputData, const AudioTimeStamp* inOutputTime,
                                      void* inClientData);

extern "C" {
Boolean AudioObjectHasProperty(AudioObjectID inObjectID, const AudioObjectPropertyAddress* inAddress);
OSStatus AudioObjectIsPropertySettable(AudioObjectID inObjectID, const AudioObjectPropertyAddress* inAddress,
                                       Boolean* outIsSettable);
OSStatus AudioObjectGetPropertyDataSize(AudioObjectID inObjectID, const AudioObjectPropertyAddress* inAddress,
                                        UInt32 inQualifierDataSize, const void* inQualifierData, UInt32* outDataSize);
OSStatus AudioObjectGetPropertyData(AudioObjectID inObjectID, const AudioObjectPropertyAddress* inAddress,
                                    UInt32 inQualifierDataSize, const void* inQualifierData, UInt32* ioDataSize,
                                    void* outData);
OSStatus AudioObjectSetPropertyData(AudioObjectID inObjectID, const AudioObjectPropertyAddress* inAddress,
                                    UInt32 inQualifierDataSize, const void* inQualifierData, UInt32 inDataSize,
                                    const void* inData);
OSStatus AudioObjectAddPropertyListener(AudioObjectID inObjectID, const AudioObjectPropertyAddress* inAddress,
                                        AudioObjectPropertyListenerProc inListener, void* inClientData);
OSStatus AudioObjectRemovePropertyListener(AudioObjectID inObjectID, const AudioObjectPropertyAddress* inAddress,
                                           AudioObjectPropertyListenerProc inListener, void* inClientData);
// The block form. While registered, the block and a reference to the queue
// are kept here; each change the registration hears on `inObjectID` is
// posted to `inDispatchQueue`, a serial queue, with its addresses copied, so
// the block runs there, asynchronously, never on the notification thread, and
// may call any function here. A registration is named by object, address,
// queue and block (a copy of the block is the same block); adding one twice
// has no further effect. Any thread may add and remove, the block's queue
// and listeners included. Removal drops the calls not yet started; a call
// already running on the queue may still be finishing as removal returns on
// another thread (what the queue runs next comes after it). A null address,
// queue or block is kAudio_ParamError; removing what is not registered is
// kAudioHardwareIllegalOperationError (CoreAudio does not document it).
OSStatus AudioObjectAddPropertyListenerBlock(AudioObjectID inObjectID, const AudioObjectPropertyAddress* inAddress,
                                             dispatch_queue_t inDispatchQueue,
                                             AudioObjectPropertyListenerBlock inListener);
OSStatus AudioObjectRemovePropertyListenerBlock(AudioObjectID inObjectID, const AudioObjectPropertyAddress* inAddress,
                                                dispatch_queue_t inDispatchQueue,
                                                AudioObjectPropertyListenerBlock inListener);
// Where a running device's clock is now: its sample time, the host time and
// its rate scalar (how fast its clock runs against the host's).
// kAudioHardwareNotRunningError while the device is not running.
OSStatus AudioDeviceGetCurrentTime(AudioObjectID inDevice, AudioTimeStamp* outTime);
}
