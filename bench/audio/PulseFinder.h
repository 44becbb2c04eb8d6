#pragma once
#include <cstddef>
#include <cstdint>
#include <cstdlib>

// Finds the player's test pulses in a stream of 16-bit stereo frames (the
// left channel is enough). A pulse follows silence: a run at +kLevel lasting a
// whole number of milliseconds, its id, then a run at -kLevel as long. The id
// says which click was heard even when the latency exceeds the time between
// clicks or clicks are lost on the way; a pulse cut on the way (a client's
// underrun, a dropped block) loses the match of its halves and names no
// click rather than a wrong one.
class PulseFinder {
public:
    static constexpr int kFramesPerId = 48; // 1 ms at 48 kHz
    static constexpr int kMaxId = 100;
    static constexpr int16_t kLevel = 16384;      // what the player plays
    static constexpr int kThreshold = kLevel / 2; // far above any conversion's ringing
    static constexpr int kSlack = 2;              // frames either way, for a resampled path

    struct Heard {
        int id;
        int64_t micros;       // when the chunk holding the onset arrived
        uint32_t framesAfter; // of that chunk, from the onset on
    };

    // Scans one chunk that arrived at `micros`; calls `heard` for each pulse
    // that ends in it. Pulses may span chunks.
    template <class Report>
    void Feed(const int16_t* samples, size_t frames, int64_t micros, Report&& heard) {
        for (size_t i = 0; i < frames; ++i) {
            const int sample = samples[2 * i];
            const int sign = sample > kThreshold ? 1 : sample < -kThreshold ? -1 : 0;
            if (sign == 1 && fNegative == 0) {
                if (fPositive++ == 0) fOnset = {0, micros, static_cast<uint32_t>(frames - i)};
                continue;
            }
            if (sign == -1 && fPositive > 0) {
                ++fNegative;
                continue;
            }
            // The pulse, if any, has ended: silence, or a rise after its fall.
            if (const int id = Id(); id > 0) {
                fOnset.id = id;
                heard(fOnset);
            }
            fPositive = fNegative = 0;
            if (sign == 1) {
                fPositive = 1;
                fOnset = {0, micros, static_cast<uint32_t>(frames - i)};
            }
        }
    }

private:
    // The id the halves name, or 0 when they name none.
    int Id() const {
        const auto id = static_cast<int>((fPositive + kFramesPerId / 2) / kFramesPerId);
        const auto near = [id](uint64_t frames) {
            return std::llabs(static_cast<long long>(frames) - static_cast<long long>(id) * kFramesPerId) <= kSlack;
        };
        return id >= 1 && id <= kMaxId && near(fPositive) && near(fNegative) ? id : 0;
    }

    uint64_t fPositive = 0, fNegative = 0; // frames of the pulse's halves so far
    Heard fOnset{};
};
