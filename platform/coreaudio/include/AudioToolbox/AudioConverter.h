#pragma once
// Converting linear PCM between layouts. On systems without AudioToolbox:
// float32 and signed 16-bit samples, interleaved or not, any channel counts
// (channels matched by position, missing ones silent), at one rate; a
// converter between two rates cannot be made yet.
#include "CoreAudio/AudioHardwareBase.h"

typedef struct OpaqueAudioConverter* AudioConverterRef;

enum : OSStatus {
    kAudioConverterErr_FormatNotSupported = qcp::coreaudio::Status("fmt?"),
    kAudioConverterErr_OperationNotSupported = qcp::coreaudio::Status("op??"),
    kAudioConverterErr_PropertyNotSupported = qcp::coreaudio::Status("prop"),
    kAudioConverterErr_InvalidInputSize = qcp::coreaudio::Status("insz"),
    kAudioConverterErr_InvalidOutputSize = qcp::coreaudio::Status("otsz"),
    kAudioConverterErr_UnspecifiedError = qcp::coreaudio::Status("what"),
    kAudioConverterErr_BadPropertySizeError = qcp::coreaudio::Status("!siz"),
    kAudioConverterErr_RequiresPacketDescriptionsError = qcp::coreaudio::Status("!pkd"),
    kAudioConverterErr_InputSampleRateOutOfRange = qcp::coreaudio::Status("!isr"),
    kAudioConverterErr_OutputSampleRateOutOfRange = qcp::coreaudio::Status("!osr"),
};

extern "C" {
OSStatus AudioConverterNew(const AudioStreamBasicDescription* inSourceFormat,
                           const AudioStreamBasicDescription* inDestinationFormat,
                           AudioConverterRef* outAudioConverter);
OSStatus AudioConverterDispose(AudioConverterRef inAudioConverter);
OSStatus AudioConverterReset(AudioConverterRef inAudioConverter);
// Converts `inNumberPCMFrames` frames; the output buffers' sizes are set to
// what was written. Allocates nothing: fit for render callbacks.
OSStatus AudioConverterConvertComplexBuffer(AudioConverterRef inAudioConverter, UInt32 inNumberPCMFrames,
                                            const AudioBufferList* inInputData, AudioBufferList* outOutputData);
}
