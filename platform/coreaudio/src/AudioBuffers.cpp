#include "AudioBuffers.h"

#include <algorithm>
#include <cstring>

namespace qcp::coreaudio {

ChannelSamples Channel(const AudioBufferList& list, UInt32 channel) {
    for (UInt32 i = 0; i < list.mNumberBuffers; ++i) {
        const AudioBuffer& buffer = list.mBuffers[i];
        if (channel >= buffer.mNumberChannels) {
            channel -= buffer.mNumberChannels;
            continue;
        }
        if (!buffer.mData) return {};
        const UInt32 frames = buffer.mDataByteSize / (buffer.mNumberChannels * sizeof(Float32));
        return {static_cast<Float32*>(buffer.mData) + channel, buffer.mNumberChannels, frames};
    }
    return {};
}

void CopyChannels(const AudioBufferList& from, AudioBufferList& to, UInt32 frames) {
    UInt32 channels = 0;
    for (UInt32 i = 0; i < to.mNumberBuffers; ++i) channels += to.mBuffers[i].mNumberChannels;
    for (UInt32 channel = 0; channel < channels; ++channel) {
        const ChannelSamples target = Channel(to, channel);
        const ChannelSamples source = Channel(from, channel);
        const UInt32 count = std::min(frames, target.frames);
        const UInt32 copied = source.data ? std::min(count, source.frames) : 0;
        for (UInt32 f = 0; f < copied; ++f) target.data[f * target.stride] = source.data[f * source.stride];
        for (UInt32 f = copied; f < count; ++f) target.data[f * target.stride] = 0;
    }
}

void Silence(AudioBufferList& list, UInt32 frames) {
    for (UInt32 i = 0; i < list.mNumberBuffers; ++i) {
        AudioBuffer& buffer = list.mBuffers[i];
        if (!buffer.mData) continue;
        const size_t bytes = std::min<size_t>(buffer.mDataByteSize,
                                              size_t{frames} * buffer.mNumberChannels * sizeof(Float32));
        std::memset(buffer.mData, 0, bytes);
    }
}

void Mix(const AudioBufferList& from, AudioBufferList& into, UInt32 frames) {
    for (UInt32 i = 0; i < into.mNumberBuffers; ++i) {
        const auto* source = static_cast<const Float32*>(from.mBuffers[i].mData);
        auto* target = static_cast<Float32*>(into.mBuffers[i].mData);
        const size_t samples = size_t{frames} * into.mBuffers[i].mNumberChannels;
        for (size_t s = 0; s < samples; ++s) target[s] += source[s];
    }
}

std::vector<UInt32> BufferLayout(UInt32 channels, bool interleaved) {
    return interleaved ? std::vector<UInt32>{channels} : std::vector<UInt32>(channels, 1);
}

void OwnedBufferList::Allocate(std::vector<UInt32> layout, UInt32 capacity, UInt32 sampleBytes) {
    fLayout = std::move(layout);
    fCapacity = capacity;
    fSampleBytes = sampleBytes;
    UInt32 channels = 0;
    for (const UInt32 count : fLayout) channels += count;
    // Whole floats, so that float samples stay aligned.
    fSamples.assign((size_t{channels} * capacity * sampleBytes + sizeof(Float32) - 1) / sizeof(Float32), 0.0f);
    // Room for the one buffer the type declares even when there are none.
    const size_t buffers = std::max<size_t>(fLayout.size(), 1);
    fList.assign(offsetof(AudioBufferList, mBuffers) + buffers * sizeof(AudioBuffer), std::byte{0});
    List().mNumberBuffers = static_cast<UInt32>(fLayout.size());
}

AudioBufferList& OwnedBufferList::Prepare(UInt32 frames) {
    frames = std::min(frames, fCapacity);
    AudioBufferList& list = List();
    auto* data = reinterpret_cast<std::byte*>(fSamples.data());
    for (UInt32 i = 0; i < list.mNumberBuffers; ++i) {
        AudioBuffer& buffer = list.mBuffers[i];
        buffer.mNumberChannels = fLayout[i];
        buffer.mDataByteSize = frames * fLayout[i] * fSampleBytes;
        buffer.mData = data;
        data += size_t{fLayout[i]} * fCapacity * fSampleBytes;
    }
    return list;
}

} // namespace qcp::coreaudio
