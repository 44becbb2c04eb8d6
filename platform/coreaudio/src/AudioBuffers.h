#pragma once
#include <cstddef>
#include <vector>

#include "CoreAudio/CoreAudioTypes.h"

// Float32 audio in buffer lists, interleaved or not: channel n is the n-th
// channel counting through the buffers in order.
namespace qcp::coreaudio {

// One channel's samples, `stride` floats apart; `frames` of them fit.
struct ChannelSamples {
    Float32* data = nullptr;
    UInt32 stride = 0;
    UInt32 frames = 0;
};

// Channel `channel` of `list`; null data when it has no such channel.
ChannelSamples Channel(const AudioBufferList& list, UInt32 channel);
// Copies `frames` frames channel by channel, filling channels `from` lacks
// with silence. Allocates nothing.
void CopyChannels(const AudioBufferList& from, AudioBufferList& to, UInt32 frames);
void Silence(AudioBufferList& list, UInt32 frames);
// Adds `frames` frames of `from` to `into`, which has the same layout.
void Mix(const AudioBufferList& from, AudioBufferList& into, UInt32 frames);

// The buffers' channel counts for `channels` channels interleaved in one
// buffer or one buffer each.
std::vector<UInt32> BufferLayout(UInt32 channels, bool interleaved);

// A buffer list with its own storage: one interleaved buffer per entry of
// `layout` with that many channels, room for `capacity` frames of samples of
// `sampleBytes` bytes (float32 unless said).
class OwnedBufferList {
public:
    void Allocate(std::vector<UInt32> layout, UInt32 capacity, UInt32 sampleBytes = sizeof(Float32));
    // The list, its sizes set for `frames` (at most the capacity) and its
    // data pointing at the storage again.
    AudioBufferList& Prepare(UInt32 frames);
    UInt32 Capacity() const { return fCapacity; }

private:
    AudioBufferList& List() { return *reinterpret_cast<AudioBufferList*>(fList.data()); }

    std::vector<Float32> fSamples;
    std::vector<std::byte> fList;
    std::vector<UInt32> fLayout;
    UInt32 fCapacity = 0;
    UInt32 fSampleBytes = sizeof(Float32);
};

} // namespace qcp::coreaudio
