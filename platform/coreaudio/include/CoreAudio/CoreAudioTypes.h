#pragma once
// CoreAudio's base types, status codes and stream-format description, with
// Apple's names, layouts and values, for systems without CoreAudio.
#include <stddef.h>

#define QCP_COREAUDIO_TYPES 1

typedef unsigned int UInt32;
typedef signed long long SInt64;

// One buffer of audio: interleaved channels, or one channel of a
// de-interleaved stream.
struct AudioBuffer {
    UInt32 mNumberChannels;
    UInt32 mDataByteSize;
    void* mData;
};

// A count of buffers followed by that many buffers; callers allocate room for
// more than the one declared here.
struct AudioBufferList {
    UInt32 mNumberBuffers;
    AudioBuffer mBuffers[1];
};

typedef unsigned char UInt8;
typedef signed char SInt8;
typedef unsigned short UInt16;
typedef signed short SInt16;
typedef signed int SInt32;
typedef unsigned long long UInt64;
typedef float Float32;
typedef double Float64;
typedef unsigned char Boolean;
typedef SInt32 OSStatus;
typedef UInt32 FourCharCode;

// Apple's headers spell four-character codes as multi-character literals,
// which compilers warn about; this makes the same value, first character in
// the most significant byte.
namespace qcp::coreaudio {
constexpr UInt32 FourCC(const char (&code)[5]) {
    return (UInt32(UInt8(code[0])) << 24) | (UInt32(UInt8(code[1])) << 16) | (UInt32(UInt8(code[2])) << 8) |
           UInt32(UInt8(code[3]));
}
} // namespace qcp::coreaudio

enum : OSStatus {
    noErr = 0,
    kAudio_UnimplementedError = -4,
    kAudio_FileNotFoundError = -43,
    kAudio_FilePermissionError = -54,
    kAudio_TooManyFilesOpenError = -42,
    kAudio_BadFilePathError = static_cast<OSStatus>(qcp::coreaudio::FourCC("!pth")),
    kAudio_ParamError = -50,
    kAudio_MemFullError = -108,
};

typedef UInt32 AudioFormatID;
typedef UInt32 AudioFormatFlags;

// The layout of one stream's samples.
struct AudioStreamBasicDescription {
    Float64 mSampleRate;
    AudioFormatID mFormatID;
    AudioFormatFlags mFormatFlags;
    UInt32 mBytesPerPacket;
    UInt32 mFramesPerPacket;
    UInt32 mBytesPerFrame;
    UInt32 mChannelsPerFrame;
    UInt32 mBitsPerChannel;
    UInt32 mReserved;
};

enum : AudioFormatID {
    kAudioFormatLinearPCM = qcp::coreaudio::FourCC("lpcm"),
};

enum : AudioFormatFlags {
    kAudioFormatFlagIsFloat = (1U << 0),
    kAudioFormatFlagIsBigEndian = (1U << 1),
    kAudioFormatFlagIsSignedInteger = (1U << 2),
    kAudioFormatFlagIsPacked = (1U << 3),
    kAudioFormatFlagIsAlignedHigh = (1U << 4),
    kAudioFormatFlagIsNonInterleaved = (1U << 5),
    kAudioFormatFlagIsNonMixable = (1U << 6),
    kAudioFormatFlagsAreAllClear = 0x80000000U,

    kLinearPCMFormatFlagIsFloat = kAudioFormatFlagIsFloat,
    kLinearPCMFormatFlagIsBigEndian = kAudioFormatFlagIsBigEndian,
    kLinearPCMFormatFlagIsSignedInteger = kAudioFormatFlagIsSignedInteger,
    kLinearPCMFormatFlagIsPacked = kAudioFormatFlagIsPacked,
    kLinearPCMFormatFlagIsAlignedHigh = kAudioFormatFlagIsAlignedHigh,
    kLinearPCMFormatFlagIsNonInterleaved = kAudioFormatFlagIsNonInterleaved,
    kLinearPCMFormatFlagIsNonMixable = kAudioFormatFlagIsNonMixable,
    kLinearPCMFormatFlagsAreAllClear = kAudioFormatFlagsAreAllClear,

    // Every system this subset runs on is little-endian.
    kAudioFormatFlagsNativeEndian = 0,
    kAudioFormatFlagsNativeFloatPacked = kAudioFormatFlagIsFloat | kAudioFormatFlagsNativeEndian | kAudioFormatFlagIsPacked,
};

// Where one packet lies in a buffer of packets of varying size, and how many
// frames it holds when that varies too (0 when the format fixes it).
struct AudioStreamPacketDescription {
    SInt64 mStartOffset;
    UInt32 mVariableFramesInPacket;
    UInt32 mDataByteSize;
};

// A closed range of values, e.g. of sample rates or buffer sizes.
struct AudioValueRange {
    Float64 mMinimum;
    Float64 mMaximum;
};

// A property whose value translates an input (its qualifier in all but
// name) into an output.
struct AudioValueTranslation {
    void* mInputData;
    UInt32 mInputDataSize;
    void* mOutputData;
    UInt32 mOutputDataSize;
};

// A SMPTE time, carried in every AudioTimeStamp.
struct SMPTETime {
    SInt16 mSubframes;
    SInt16 mSubframeDivisor;
    UInt32 mCounter;
    UInt32 mType;
    UInt32 mFlags;
    SInt16 mHours;
    SInt16 mMinutes;
    SInt16 mSeconds;
    SInt16 mFrames;
};

// When something happens on a device's time line, in the units whose flag
// says they are valid.
struct AudioTimeStamp {
    Float64 mSampleTime;
    UInt64 mHostTime;
    Float64 mRateScalar;
    UInt64 mWordClockTime;
    SMPTETime mSMPTETime;
    UInt32 mFlags;
    UInt32 mReserved;
};

enum : UInt32 {
    kAudioTimeStampNothingValid = 0,
    kAudioTimeStampSampleTimeValid = (1U << 0),
    kAudioTimeStampHostTimeValid = (1U << 1),
    kAudioTimeStampRateScalarValid = (1U << 2),
    kAudioTimeStampWordClockTimeValid = (1U << 3),
    kAudioTimeStampSMPTETimeValid = (1U << 4),
    kAudioTimeStampSampleHostTimeValid = kAudioTimeStampSampleTimeValid | kAudioTimeStampHostTimeValid,
};

static_assert(sizeof(SMPTETime) == 24, "SMPTETime is 24 bytes");
static_assert(sizeof(AudioTimeStamp) == 64, "AudioTimeStamp is 64 bytes");
static_assert(sizeof(AudioStreamBasicDescription) == 40, "AudioStreamBasicDescription is 40 bytes");
static_assert(sizeof(AudioStreamPacketDescription) == 16, "AudioStreamPacketDescription is 16 bytes");
