#pragma once
// Converting linear PCM between layouts and rates. On systems without
// AudioToolbox: float32 and signed 16-bit samples, interleaved or not, any
// channel counts (channels matched by position, missing ones silent), between
// any two positive rates whose ratio libsamplerate takes (1/256 to 256);
// AudioConverterNew answers kAudioConverterErr_FormatNotSupported otherwise.
//
// Whoever makes a converter with AudioConverterNew owns it until
// AudioConverterDispose. A converter is used by one thread at a time (its
// user serialises the calls); different converters are independent. New
// allocates all a converter needs: Reset and the conversions allocate
// nothing and take no lock, so they are fit for real-time threads.
//
// The caller owns every buffer it passes; the converter writes only the
// output buffers' data and mDataByteSize. Data an input proc hands over stays
// the proc's; the converter reads it until the proc is next called, the
// converter is reset or it is disposed of.
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

// Supplies FillComplexBuffer's input, called on its thread from inside it,
// never at any other time; it must not call the converter it serves. On
// entry *ioNumberDataPackets is how many frames the converter would like and
// ioData, owned by the converter, has as many buffers as the source layout
// with null data. The proc points the buffers at its frames and sets the
// count, or returns 0 frames (with noErr or a status of its own) when it has
// none now. outDataPacketDescription is null for linear PCM.
typedef OSStatus (*AudioConverterComplexInputDataProc)(AudioConverterRef inAudioConverter,
                                                       UInt32* ioNumberDataPackets, AudioBufferList* ioData,
                                                       AudioStreamPacketDescription** outDataPacketDescription,
                                                       void* inUserData);

extern "C" {
OSStatus AudioConverterNew(const AudioStreamBasicDescription* inSourceFormat,
                           const AudioStreamBasicDescription* inDestinationFormat,
                           AudioConverterRef* outAudioConverter);
OSStatus AudioConverterDispose(AudioConverterRef inAudioConverter);
// Forgets input the proc handed over but the converter has not used, and the
// rate converter's history: what follows converts as if from the start.
OSStatus AudioConverterReset(AudioConverterRef inAudioConverter);
// Converts until *ioOutputDataPacketSize frames are written (at most what the
// output buffers' mDataByteSize leaves room for), pulling input from the proc
// as it needs it and keeping what it has not used for the next call. It ends
// early when the proc gives no frames: then it returns the proc's status
// (noErr with no frames is not an error) and the next call asks the proc
// again. Either way *ioOutputDataPacketSize and the buffers' mDataByteSize
// are set to what was written. Between rates the output is continuous across
// calls: the rate converter's state carries over. Output packet descriptions
// are not used for linear PCM; outPacketDescription may be null.
// A null converter, proc, count or list, or an output buffer without data, is
// kAudio_ParamError; an output list with the wrong number of buffers
// kAudioConverterErr_InvalidOutputSize; input buffers from the proc that do
// not hold the frames it claims end the call with
// kAudioConverterErr_InvalidInputSize.
OSStatus AudioConverterFillComplexBuffer(AudioConverterRef inAudioConverter,
                                         AudioConverterComplexInputDataProc inInputDataProc,
                                         void* inInputDataProcUserData, UInt32* ioOutputDataPacketSize,
                                         AudioBufferList* outOutputData,
                                         AudioStreamPacketDescription* outPacketDescription);
// Converts `inNumberPCMFrames` frames at one rate; the output buffers' sizes
// are set to what was written. A converter between rates answers
// kAudioConverterErr_OperationNotSupported: use FillComplexBuffer.
OSStatus AudioConverterConvertComplexBuffer(AudioConverterRef inAudioConverter, UInt32 inNumberPCMFrames,
                                            const AudioBufferList* inInputData, AudioBufferList* outOutputData);
}
