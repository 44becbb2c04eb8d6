#pragma once
// Audio units: their component types, status codes, render callback and the
// calls every unit answers.
#include "AudioComponent.h"

typedef AudioComponentInstance AudioUnit;
typedef UInt32 AudioUnitPropertyID;
typedef UInt32 AudioUnitScope;
typedef UInt32 AudioUnitElement;
typedef UInt32 AudioUnitRenderActionFlags;
typedef UInt32 AudioUnitParameterID;
typedef Float32 AudioUnitParameterValue;

enum : OSType {
    kAudioUnitType_Output = qcp::coreaudio::FourCC("auou"),
    kAudioUnitType_FormatConverter = qcp::coreaudio::FourCC("aufc"),

    kAudioUnitSubType_GenericOutput = qcp::coreaudio::FourCC("genr"),
    kAudioUnitSubType_HALOutput = qcp::coreaudio::FourCC("ahal"),
    kAudioUnitSubType_DefaultOutput = qcp::coreaudio::FourCC("def "),
    kAudioUnitSubType_SystemOutput = qcp::coreaudio::FourCC("sys "),
    kAudioUnitSubType_AUConverter = qcp::coreaudio::FourCC("conv"),
    kAudioUnitSubType_Varispeed = qcp::coreaudio::FourCC("vari"),

    kAudioUnitManufacturer_Apple = qcp::coreaudio::FourCC("appl"),
};

enum : AudioUnitRenderActionFlags {
    kAudioUnitRenderAction_PreRender = (1U << 2),
    kAudioUnitRenderAction_PostRender = (1U << 3),
    kAudioUnitRenderAction_OutputIsSilence = (1U << 4),
    kAudioOfflineUnitRenderAction_Preflight = (1U << 5),
    kAudioOfflineUnitRenderAction_Render = (1U << 6),
    kAudioOfflineUnitRenderAction_Complete = (1U << 7),
    kAudioUnitRenderAction_PostRenderError = (1U << 8),
    kAudioUnitRenderAction_DoNotCheckRenderArgs = (1U << 9),
};

enum : OSStatus {
    kAudioUnitErr_InvalidProperty = -10879,
    kAudioUnitErr_InvalidParameter = -10878,
    kAudioUnitErr_InvalidElement = -10877,
    kAudioUnitErr_NoConnection = -10876,
    kAudioUnitErr_FailedInitialization = -10875,
    kAudioUnitErr_TooManyFramesToProcess = -10874,
    kAudioUnitErr_FormatNotSupported = -10868,
    kAudioUnitErr_Uninitialized = -10867,
    kAudioUnitErr_InvalidScope = -10866,
    kAudioUnitErr_PropertyNotWritable = -10865,
    kAudioUnitErr_CannotDoInCurrentContext = -10863,
    kAudioUnitErr_InvalidPropertyValue = -10851,
    kAudioUnitErr_PropertyNotInUse = -10850,
    kAudioUnitErr_Initialized = -10849,
    kAudioUnitErr_InvalidOfflineRender = -10848,
    kAudioUnitErr_Unauthorized = -10847,
};

// Asked for `inNumberFrames` frames of bus `inBusNumber` into `ioData` (an
// output unit's render callback), or told that input is ready to be fetched
// with AudioUnitRender (an input callback, `ioData` null).
typedef OSStatus (*AURenderCallback)(void* inRefCon, AudioUnitRenderActionFlags* ioActionFlags,
                                     const AudioTimeStamp* inTimeStamp, UInt32 inBusNumber, UInt32 inNumberFrames,
                                     AudioBufferList* ioData);

extern "C" {
OSStatus AudioUnitInitialize(AudioUnit inUnit);
OSStatus AudioUnitUninitialize(AudioUnit inUnit);
OSStatus AudioUnitGetPropertyInfo(AudioUnit inUnit, AudioUnitPropertyID inID, AudioUnitScope inScope,
                                  AudioUnitElement inElement, UInt32* outDataSize, Boolean* outWritable);
OSStatus AudioUnitGetProperty(AudioUnit inUnit, AudioUnitPropertyID inID, AudioUnitScope inScope,
                              AudioUnitElement inElement, void* outData, UInt32* ioDataSize);
OSStatus AudioUnitSetProperty(AudioUnit inUnit, AudioUnitPropertyID inID, AudioUnitScope inScope,
                              AudioUnitElement inElement, const void* inData, UInt32 inDataSize);
OSStatus AudioUnitGetParameter(AudioUnit inUnit, AudioUnitParameterID inID, AudioUnitScope inScope,
                               AudioUnitElement inElement, AudioUnitParameterValue* outValue);
// Takes effect from the next render; `inBufferOffsetInFrames` is ignored.
OSStatus AudioUnitSetParameter(AudioUnit inUnit, AudioUnitParameterID inID, AudioUnitScope inScope,
                               AudioUnitElement inElement, AudioUnitParameterValue inValue,
                               UInt32 inBufferOffsetInFrames);
OSStatus AudioUnitRender(AudioUnit inUnit, AudioUnitRenderActionFlags* ioActionFlags,
                         const AudioTimeStamp* inTimeStamp, UInt32 inOutputBusNumber, UInt32 inNumberFrames,
                         AudioBufferList* ioData);
}
