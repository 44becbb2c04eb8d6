#include "PulseFrameRing.h"

#include <algorithm>

namespace qcp::coreaudio::pulse {

void PulseFrameRing::Allocate(size_t frames, UInt32 channels) {
    fSamples.assign(frames * channels, 0.0f);
    fCapacity = frames;
    fChannels = channels;
    Clear();
}

size_t PulseFrameRing::Available() const {
    return static_cast<size_t>(fWritten.load(std::memory_order_acquire) - fRead.load(std::memory_order_acquire));
}

size_t PulseFrameRing::Room() const { return fCapacity - Available(); }

size_t PulseFrameRing::Write(const Float32* samples, size_t frames) {
    const uint64_t written = fWritten.load(std::memory_order_relaxed);
    frames = std::min(frames, Room());
    for (size_t done = 0; done < frames;) {
        const size_t at = (written + done) % fCapacity;
        const size_t run = std::min(frames - done, fCapacity - at);
        Float32* to = fSamples.data() + at * fChannels;
        if (samples)
            std::copy_n(samples + done * fChannels, run * fChannels, to);
        else
            std::fill_n(to, run * fChannels, 0.0f);
        done += run;
    }
    fWritten.store(written + frames, std::memory_order_release);
    return frames;
}

size_t PulseFrameRing::Read(Float32* samples, size_t frames) {
    const uint64_t read = fRead.load(std::memory_order_relaxed);
    frames = std::min(frames, Available());
    for (size_t done = 0; done < frames;) {
        const size_t at = (read + done) % fCapacity;
        const size_t run = std::min(frames - done, fCapacity - at);
        std::copy_n(fSamples.data() + at * fChannels, run * fChannels, samples + done * fChannels);
        done += run;
    }
    fRead.store(read + frames, std::memory_order_release);
    return frames;
}

void PulseFrameRing::Clear() {
    fWritten.store(0, std::memory_order_relaxed);
    fRead.store(0, std::memory_order_relaxed);
}

} // namespace qcp::coreaudio::pulse
