#pragma once
// Audio unit property ids and scopes, and the values they carry.
#include "AUComponent.h"

enum : AudioUnitScope {
    kAudioUnitScope_Global = 0,
    kAudioUnitScope_Input = 1,
    kAudioUnitScope_Output = 2,
    kAudioUnitScope_Group = 3,
    kAudioUnitScope_Part = 4,
    kAudioUnitScope_Note = 5,
};

enum : AudioUnitPropertyID {
    kAudioUnitProperty_SampleRate = 2,
    // An AudioStreamBasicDescription of a bus: the input scope's is what the
    // unit is given, the output scope's what it produces.
    kAudioUnitProperty_StreamFormat = 8,
    kAudioUnitProperty_ElementCount = 11,
    kAudioUnitProperty_Latency = 12,
    // A UInt32: the most frames one render may ask for.
    kAudioUnitProperty_MaximumFramesPerSlice = 14,
    // An AURenderCallbackStruct on an input bus: where the unit pulls from.
    kAudioUnitProperty_SetRenderCallback = 23,
    // A UInt32: whether the unit supplies the buffers AudioUnitRender fills
    // when the caller's mData is null.
    kAudioUnitProperty_ShouldAllocateBuffer = 51,
};

// The HAL output unit's properties. Its element 0 is the output (to the
// device), element 1 the input (from the device).
enum : AudioUnitPropertyID {
    // An AudioObjectID, global scope.
    kAudioOutputUnitProperty_CurrentDevice = 2000,
    // A UInt32, global scope: started and not yet stopped.
    kAudioOutputUnitProperty_IsRunning = 2001,
    kAudioOutputUnitProperty_ChannelMap = 2002,
    // A UInt32 on input scope element 1 or output scope element 0.
    kAudioOutputUnitProperty_EnableIO = 2003,
    kAudioOutputUnitProperty_StartTime = 2004,
    // An AURenderCallbackStruct, global scope: told when input is ready.
    kAudioOutputUnitProperty_SetInputCallback = 2005,
    kAudioOutputUnitProperty_HasIO = 2006,
    kAudioOutputUnitProperty_StartTimestampsAtZero = 2007,
};

// The varispeed unit's parameters (global scope, element 0): how fast it
// plays its input, as a rate (0.25 to 4) or in cents (-2400 to 2400); setting
// one sets the other.
enum : AudioUnitParameterID {
    kVarispeedParam_PlaybackRate = 0,
    kVarispeedParam_PlaybackCents = 1,
};

struct AURenderCallbackStruct {
    AURenderCallback inputProc;
    void* inputProcRefCon;
};
