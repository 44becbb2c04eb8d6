#pragma once
// The linear PCM formats the units of this library take: native-endian
// float32 or signed 16-bit samples, interleaved or one channel per buffer.
#include "CoreAudio/CoreAudioTypes.h"

namespace qcp::coreaudio {

inline AudioStreamBasicDescription PCMFormat(Float64 rate, UInt32 channels, bool interleaved, bool isFloat) {
    const UInt32 sampleBytes = isFloat ? 4 : 2;
    AudioStreamBasicDescription format{};
    format.mSampleRate = rate;
    format.mFormatID = kAudioFormatLinearPCM;
    format.mFormatFlags = isFloat ? kAudioFormatFlagsNativeFloatPacked
                                  : UInt32{kAudioFormatFlagIsSignedInteger | kAudioFormatFlagIsPacked};
    if (!interleaved) format.mFormatFlags |= kAudioFormatFlagIsNonInterleaved;
    format.mFramesPerPacket = 1;
    format.mChannelsPerFrame = channels;
    format.mBitsPerChannel = sampleBytes * 8;
    format.mBytesPerFrame = interleaved ? channels * sampleBytes : sampleBytes;
    format.mBytesPerPacket = format.mBytesPerFrame;
    return format;
}

inline AudioStreamBasicDescription FloatFormat(Float64 rate, UInt32 channels, bool interleaved) {
    return PCMFormat(rate, channels, interleaved, true);
}

inline bool IsInterleaved(const AudioStreamBasicDescription& format) {
    return !(format.mFormatFlags & kAudioFormatFlagIsNonInterleaved);
}

inline bool IsFloat(const AudioStreamBasicDescription& format) {
    return format.mFormatFlags & kAudioFormatFlagIsFloat;
}

// Float32, or signed 16-bit when `orInt16`, with a usable rate and channels.
inline bool IsPCMFormat(const AudioStreamBasicDescription& format, bool orInt16) {
    const bool isFloat = IsFloat(format);
    const bool int16 = !isFloat && (format.mFormatFlags & kAudioFormatFlagIsSignedInteger) &&
                       format.mBitsPerChannel == 16;
    return format.mFormatID == kAudioFormatLinearPCM && !(format.mFormatFlags & kAudioFormatFlagIsBigEndian) &&
           ((isFloat && format.mBitsPerChannel == 32) || (orInt16 && int16)) && format.mChannelsPerFrame > 0 &&
           format.mSampleRate > 0 && format.mFramesPerPacket == 1;
}

inline bool IsFloatFormat(const AudioStreamBasicDescription& format) { return IsPCMFormat(format, false); }

} // namespace qcp::coreaudio
