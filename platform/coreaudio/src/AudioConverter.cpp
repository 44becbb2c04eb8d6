// AudioToolbox's PCM converter for layouts at one rate.
#include "AudioToolbox/AudioConverter.h"

#include <algorithm>
#include <cmath>

namespace {

struct PCMLayout {
    bool isFloat;
    bool interleaved;
    UInt32 channels;
    UInt32 bytesPerSample;

    // Where `channel` starts in `list` and how many samples apart its frames
    // are; null when the list has no such channel or too little room.
    UInt8* Start(const AudioBufferList& list, UInt32 channel, UInt32 frames, UInt32& stride) const {
        const UInt32 buffer = interleaved ? 0 : channel;
        if (buffer >= list.mNumberBuffers || !list.mBuffers[buffer].mData) return nullptr;
        stride = interleaved ? channels : 1;
        if (list.mBuffers[buffer].mDataByteSize < size_t{frames} * stride * bytesPerSample) return nullptr;
        return static_cast<UInt8*>(list.mBuffers[buffer].mData) + (interleaved ? channel * bytesPerSample : 0);
    }
    Float32 Read(const UInt8* start, size_t index) const {
        if (isFloat) return reinterpret_cast<const Float32*>(start)[index];
        return reinterpret_cast<const SInt16*>(start)[index] / 32768.0f;
    }
    void Write(UInt8* start, size_t index, Float32 value) const {
        if (isFloat) {
            reinterpret_cast<Float32*>(start)[index] = value;
            return;
        }
        const long scaled = std::lround(std::clamp(value, -1.0f, 1.0f) * 32768.0f);
        reinterpret_cast<SInt16*>(start)[index] = static_cast<SInt16>(std::clamp(scaled, -32768L, 32767L));
    }
};

bool LayoutOf(const AudioStreamBasicDescription& format, PCMLayout& layout) {
    if (format.mFormatID != kAudioFormatLinearPCM || format.mFramesPerPacket != 1 || format.mChannelsPerFrame == 0 ||
        (format.mFormatFlags & kAudioFormatFlagIsBigEndian))
        return false;
    layout.isFloat = format.mFormatFlags & kAudioFormatFlagIsFloat;
    layout.interleaved = !(format.mFormatFlags & kAudioFormatFlagIsNonInterleaved);
    layout.channels = format.mChannelsPerFrame;
    layout.bytesPerSample = format.mBitsPerChannel / 8;
    const bool signedInt = format.mFormatFlags & kAudioFormatFlagIsSignedInteger;
    const UInt32 bytesPerFrame = layout.interleaved ? layout.bytesPerSample * layout.channels : layout.bytesPerSample;
    return (layout.isFloat ? format.mBitsPerChannel == 32 : signedInt && format.mBitsPerChannel == 16) &&
           format.mBytesPerFrame == bytesPerFrame;
}

struct Converter {
    PCMLayout from;
    PCMLayout to;
};

Converter* ConverterOf(AudioConverterRef ref) { return reinterpret_cast<Converter*>(ref); }

} // namespace

extern "C" {

OSStatus AudioConverterNew(const AudioStreamBasicDescription* inSourceFormat,
                           const AudioStreamBasicDescription* inDestinationFormat,
                           AudioConverterRef* outAudioConverter) {
    if (!inSourceFormat || !inDestinationFormat || !outAudioConverter) return kAudio_ParamError;
    Converter converter;
    if (!LayoutOf(*inSourceFormat, converter.from) || !LayoutOf(*inDestinationFormat, converter.to) ||
        inSourceFormat->mSampleRate != inDestinationFormat->mSampleRate)
        return kAudioConverterErr_FormatNotSupported;
    *outAudioConverter = reinterpret_cast<AudioConverterRef>(new Converter(converter));
    return noErr;
}

OSStatus AudioConverterDispose(AudioConverterRef inAudioConverter) {
    if (!inAudioConverter) return kAudio_ParamError;
    delete ConverterOf(inAudioConverter);
    return noErr;
}

// Nothing is held between conversions at one rate.
OSStatus AudioConverterReset(AudioConverterRef inAudioConverter) {
    return inAudioConverter ? noErr : kAudio_ParamError;
}

OSStatus AudioConverterConvertComplexBuffer(AudioConverterRef inAudioConverter, UInt32 inNumberPCMFrames,
                                            const AudioBufferList* inInputData, AudioBufferList* outOutputData) {
    if (!inAudioConverter || !inInputData || !outOutputData) return kAudio_ParamError;
    const Converter& converter = *ConverterOf(inAudioConverter);
    const PCMLayout& from = converter.from;
    const PCMLayout& to = converter.to;
    if (outOutputData->mNumberBuffers != (to.interleaved ? 1 : to.channels))
        return kAudioConverterErr_InvalidOutputSize;
    UInt32 stride = 0;
    for (UInt32 channel = 0; channel < from.channels; ++channel) {
        if (!from.Start(*inInputData, channel, inNumberPCMFrames, stride)) return kAudioConverterErr_InvalidInputSize;
    }
    for (UInt32 channel = 0; channel < to.channels; ++channel) {
        if (!to.Start(*outOutputData, channel, inNumberPCMFrames, stride)) return kAudioConverterErr_InvalidOutputSize;
    }
    for (UInt32 channel = 0; channel < to.channels; ++channel) {
        UInt32 outStride = 0, inStride = 0;
        UInt8* target = to.Start(*outOutputData, channel, inNumberPCMFrames, outStride);
        const UInt8* source = channel < from.channels ? from.Start(*inInputData, channel, inNumberPCMFrames, inStride)
                                                      : nullptr;
        for (UInt32 f = 0; f < inNumberPCMFrames; ++f)
            to.Write(target, size_t{f} * outStride, source ? from.Read(source, size_t{f} * inStride) : 0.0f);
    }
    for (UInt32 i = 0; i < outOutputData->mNumberBuffers; ++i)
        outOutputData->mBuffers[i].mDataByteSize =
            inNumberPCMFrames * (to.interleaved ? to.channels : 1) * to.bytesPerSample;
    return noErr;
}
}
