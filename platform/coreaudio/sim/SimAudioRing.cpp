#include "SimAudioRing.h"

#include <algorithm>

#include "AudioBuffers.h"

namespace qcp::coreaudio::sim {

SimAudioRing::SimAudioRing(UInt32 channels, UInt32 capacityFrames)
    : fChannels(channels), fCapacity(capacityFrames), fSamples(size_t{channels} * capacityFrames, 0.0f) {}

void SimAudioRing::Write(const AudioBufferList& from, UInt32 frames) {
    std::lock_guard lock(fMutex);
    for (UInt32 channel = 0; channel < fChannels; ++channel) {
        const ChannelSamples source = Channel(from, channel);
        for (UInt32 f = 0; f < frames; ++f) {
            const size_t slot = (fWritten + f) % fCapacity;
            const bool given = source.data && f < source.frames;
            fSamples[slot * fChannels + channel] = given ? source.data[f * source.stride] : 0;
        }
    }
    fWritten += frames;
}

void SimAudioRing::Read(AudioBufferList& to, UInt32 frames) {
    std::lock_guard lock(fMutex);
    // A reader that fell a whole ring behind picks up half a ring back.
    if (fWritten - fRead > fCapacity) fRead = fWritten - fCapacity / 2;
    // Reading starts a buffer behind the writer, so that cycles of the two
    // devices falling due together in either order do not run it dry.
    if (!fPrimed && fWritten - fRead >= 2 * uint64_t{frames}) fPrimed = true;
    const UInt32 available = fPrimed ? static_cast<UInt32>(std::min<uint64_t>(frames, fWritten - fRead)) : 0;
    if (available < frames) fPrimed = false;
    for (UInt32 channel = 0;; ++channel) {
        const ChannelSamples target = Channel(to, channel);
        if (!target.data) break;
        const UInt32 count = std::min(frames, target.frames);
        for (UInt32 f = 0; f < count; ++f) {
            const size_t slot = (fRead + f) % fCapacity;
            const bool read = f < available && channel < fChannels;
            target.data[f * target.stride] = read ? fSamples[slot * fChannels + channel] : 0;
        }
    }
    fRead += available;
}

std::vector<Float32> SimAudioRing::Latest(UInt32 frames) const {
    std::lock_guard lock(fMutex);
    const uint64_t count = std::min<uint64_t>({frames, fWritten, fCapacity});
    std::vector<Float32> samples;
    samples.reserve(count * fChannels);
    for (uint64_t f = fWritten - count; f < fWritten; ++f) {
        const size_t slot = f % fCapacity;
        samples.insert(samples.end(), fSamples.begin() + slot * fChannels, fSamples.begin() + (slot + 1) * fChannels);
    }
    return samples;
}

uint64_t SimAudioRing::Written() const {
    std::lock_guard lock(fMutex);
    return fWritten;
}

} // namespace qcp::coreaudio::sim
