#pragma once
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <vector>

#include "CARingBuffer.h"

// Audio in the form CARingBuffer exchanges it: an AudioBufferList of one
// buffer per channel, each of 32-bit samples, with the sample storage owned
// here. Frame `t` of channel `c` is stamped with a value no other frame or
// channel of a test carries, so that a sample copied to the wrong place shows.
class SampleChannels {
public:
    static constexpr UInt32 kBytesPerFrame = sizeof(uint32_t);

    static uint32_t Stamp(UInt32 channel, SInt64 t) { return (channel + 1) << 28 | (uint32_t(t) & 0x0fffffff); }

    SampleChannels(UInt32 channels, UInt32 frames, uint32_t fill = 0)
        : fList(new (fStorage.get()) AudioBufferList), fSamples(channels, std::vector<uint32_t>(frames, fill)) {
        assert(channels <= kMaxChannels);
        fList->mNumberBuffers = channels;
        for (UInt32 c = 0; c < channels; ++c) buffer(c) = {1, frames * kBytesPerFrame, fSamples[c].data()};
    }
    // Channels holding the stamps of frames [first, first + frames).
    static SampleChannels Stamped(UInt32 channels, SInt64 first, UInt32 frames) {
        SampleChannels stamped(channels, frames);
        for (UInt32 c = 0; c < channels; ++c)
            for (UInt32 i = 0; i < frames; ++i) stamped.fSamples[c][i] = Stamp(c, first + i);
        return stamped;
    }
    SampleChannels(SampleChannels&&) = default;

    AudioBufferList* list() { return fList; }
    AudioBuffer& buffer(UInt32 channel) { return *(fList->mBuffers + channel); }
    const std::vector<uint32_t>& samples(UInt32 channel) const { return fSamples[channel]; }

private:
    static constexpr UInt32 kMaxChannels = 8;
    static constexpr size_t kListBytes = offsetof(AudioBufferList, mBuffers) + kMaxChannels * sizeof(AudioBuffer);
    std::unique_ptr<std::byte[]> fStorage{new std::byte[kListBytes]};
    AudioBufferList* fList;
    std::vector<std::vector<uint32_t>> fSamples;
};
