#pragma once
// The linear PCM layouts AudioConverter reads and writes (float32 or signed
// 16-bit, native-endian, interleaved or not) and the copy between two of them
// that every conversion ends in. Header-only; allocates nothing.
#include <algorithm>
#include <cmath>
#include <cstddef>

#include "CoreAudio/CoreAudioTypes.h"

namespace qcp::coreaudio {

struct PCMLayout {
    bool isFloat;
    bool interleaved;
    UInt32 channels;
    UInt32 bytesPerSample;

    UInt32 Buffers() const { return interleaved ? 1 : channels; }
    UInt32 ChannelsPerBuffer() const { return interleaved ? channels : 1; }
    UInt32 BytesPerBufferFrame() const { return ChannelsPerBuffer() * bytesPerSample; }

    // Where `channel` starts in `list` and how many samples apart its frames
    // are; null when the list has no such channel or no room for `frames`.
    UInt8* Start(const AudioBufferList& list, UInt32 channel, size_t frames, UInt32& stride) const {
        const UInt32 buffer = interleaved ? 0 : channel;
        if (buffer >= list.mNumberBuffers || !list.mBuffers[buffer].mData) return nullptr;
        stride = ChannelsPerBuffer();
        if (list.mBuffers[buffer].mDataByteSize < frames * BytesPerBufferFrame()) return nullptr;
        return static_cast<UInt8*>(list.mBuffers[buffer].mData) + (interleaved ? channel * bytesPerSample : 0);
    }
    // Whether every channel of `list` has room for `frames`.
    bool Holds(const AudioBufferList& list, size_t frames) const {
        if (list.mNumberBuffers != Buffers()) return false;
        UInt32 stride = 0;
        for (UInt32 channel = 0; channel < channels; ++channel)
            if (!Start(list, channel, frames, stride)) return false;
        return true;
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

// The layout `format` describes; false for what the converter cannot handle.
inline bool LayoutOf(const AudioStreamBasicDescription& format, PCMLayout& layout) {
    if (format.mFormatID != kAudioFormatLinearPCM || format.mFramesPerPacket != 1 || format.mChannelsPerFrame == 0 ||
        (format.mFormatFlags & kAudioFormatFlagIsBigEndian))
        return false;
    layout.isFloat = format.mFormatFlags & kAudioFormatFlagIsFloat;
    layout.interleaved = !(format.mFormatFlags & kAudioFormatFlagIsNonInterleaved);
    layout.channels = format.mChannelsPerFrame;
    layout.bytesPerSample = format.mBitsPerChannel / 8;
    const bool signedInt = format.mFormatFlags & kAudioFormatFlagIsSignedInteger;
    return (layout.isFloat ? format.mBitsPerChannel == 32 : signedInt && format.mBitsPerChannel == 16) &&
           format.mBytesPerFrame == layout.BytesPerBufferFrame();
}

// Copies `frames` frames from frame `inFrame` of `in` to frame `outFrame` of
// `out`, channels matched by position, those `from` lacks silent. Both lists
// must hold the frames (PCMLayout::Holds).
inline void CopyFrames(const PCMLayout& from, const AudioBufferList& in, size_t inFrame, const PCMLayout& to,
                       const AudioBufferList& out, size_t outFrame, size_t frames) {
    for (UInt32 channel = 0; channel < to.channels; ++channel) {
        UInt32 outStride = 0, inStride = 0;
        UInt8* target = to.Start(out, channel, outFrame + frames, outStride);
        const UInt8* source = channel < from.channels ? from.Start(in, channel, inFrame + frames, inStride) : nullptr;
        for (size_t f = 0; f < frames; ++f)
            to.Write(target, (outFrame + f) * outStride, source ? from.Read(source, (inFrame + f) * inStride) : 0.0f);
    }
}

} // namespace qcp::coreaudio
