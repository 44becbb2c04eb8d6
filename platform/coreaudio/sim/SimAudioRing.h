#pragma once
#include <cstdint>
#include <mutex>
#include <vector>

#include "CoreAudio/CoreAudioTypes.h"

namespace qcp::coreaudio::sim {

// Interleaved float32 frames passed from one I/O thread to another or kept
// for tests: what an output device was given, or the capture driver's
// loopback from its played-into device to its recorded-from device. Writing
// and reading allocate nothing and lock only for the copy.
class SimAudioRing {
public:
    SimAudioRing(UInt32 channels, UInt32 capacityFrames);

    // Appends `frames` frames of `from`'s channels; the oldest drop out.
    void Write(const AudioBufferList& from, UInt32 frames);
    // Fills `frames` frames of `to` from where the last read ended, keeping
    // a buffer behind the writer: frames not yet written read as silence and
    // are read later, once a buffer's cushion has gathered again; frames that
    // dropped out are skipped.
    void Read(AudioBufferList& to, UInt32 frames);
    // The newest `frames` frames written (fewer when fewer were).
    std::vector<Float32> Latest(UInt32 frames) const;
    uint64_t Written() const;

private:
    const UInt32 fChannels;
    const UInt32 fCapacity;
    mutable std::mutex fMutex;
    std::vector<Float32> fSamples;
    uint64_t fWritten = 0; // frames ever written
    uint64_t fRead = 0;    // frames ever read
    bool fPrimed = false;  // the reader has its cushion
};

} // namespace qcp::coreaudio::sim
