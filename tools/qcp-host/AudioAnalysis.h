#pragma once
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

namespace qcphost {

// What the recorded audio looked like: packets and their sizes, gaps, peak
// levels and the dominant frequency. Made and fed by the audio recorder's
// writer thread only (not thread-safe), which may allocate.
//
// A gap is audio missing between packets, told by the host's clock: a
// packet whose audio would start more than kGapToleranceMs after the previous
// packet's audio ended (each packet's audio taken to end when it arrives)
// opens a gap of the difference. A stall is no loss when a burst of the
// stalled packets follows: audio cannot end after it arrived, so a packet
// whose audio would, gives that much back from the latest gap.
class AudioAnalysis {
public:
    static constexpr double kGapToleranceMs = 10;

    struct Result {
        uint64_t packets = 0;
        std::map<uint32_t, uint64_t> sizes; // bytes -> packets
        uint64_t frames = 0;
        // When the first sample was heard, on the host's steady clock in
        // microseconds: the latest start no packet's arrival contradicts.
        double startMicros = 0;
        uint64_t gaps = 0;
        double gapTotalMs = 0, gapLongestMs = 0;
        double peakDbfs = -INFINITY;   // of the whole recording; -inf for silence
        double recentPeakDbfs = -INFINITY; // of the last second
        double dominantHz = 0;         // 0 until Finish, or for silence
    };

    // Interleaved 16-bit samples at `rate` with `channels` channels.
    AudioAnalysis(uint32_t rate, uint32_t channels);

    // A packet of `bytes` that reached the host at `arrivalMicros` on its
    // steady clock; its samples follow through Samples().
    void Packet(uint32_t bytes, uint64_t arrivalMicros);
    void Samples(const int16_t* samples, size_t frames);
    // Finds the dominant frequency, in the loudest whole second (or in all of
    // a shorter recording).
    void Finish();

    const Result& result() const { return fResult; }

private:
    static constexpr size_t kLevelBlocks = 10; // of a tenth of a second each

    const uint32_t fRate, fChannels;
    Result fResult;
    double fAudioEndMicros = 0;
    // The latest gap stays open to what a burst gives back; the others are closed.
    double fOpenGapMs = 0, fClosedGapMs = 0, fClosedLongestMs = 0;
    uint64_t fClosedGaps = 0;
    // The last second's peak, block by block.
    std::array<float, kLevelBlocks> fBlockPeaks{};
    size_t fBlock = 0, fBlockFrames = 0;
    float fPeak = 0;
    // Mono seconds: the one being filled and the loudest so far.
    std::vector<float> fSecond, fLoudest;
    double fLoudestEnergy = -1;
};

} // namespace qcphost
