#pragma once
#include <atomic>
#include <cstdint>
#include <vector>

#include "CoreAudio/CoreAudioTypes.h"

namespace qcp::coreaudio::pulse {

// Interleaved float frames passed from one writing thread to one reading
// thread without a lock (readers that take turns under a lock of their own
// count as one). Allocates only in Allocate.
class PulseFrameRing {
public:
    void Allocate(size_t frames, UInt32 channels);
    // Frames there are to read, and room to write.
    size_t Available() const;
    size_t Room() const;
    // Writes as many of `frames` as there is room for (silence when
    // `samples` is null); returns how many.
    size_t Write(const Float32* samples, size_t frames);
    // Reads up to `frames`; returns how many.
    size_t Read(Float32* samples, size_t frames);
    // Empties it; only while neither side runs.
    void Clear();

private:
    std::vector<Float32> fSamples;
    size_t fCapacity = 0; // frames
    UInt32 fChannels = 0;
    std::atomic<uint64_t> fWritten{0}; // frames, ever
    std::atomic<uint64_t> fRead{0};
};

} // namespace qcp::coreaudio::pulse
