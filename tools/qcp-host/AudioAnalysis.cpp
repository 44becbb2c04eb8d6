#include "AudioAnalysis.h"

#include <algorithm>
#include <cmath>

#include "FrequencyScan.h"

namespace qcphost {
namespace {

double Dbfs(float peak) { return peak > 0 ? 20 * std::log10(double(peak)) : -INFINITY; }

} // namespace

AudioAnalysis::AudioAnalysis(uint32_t rate, uint32_t channels) : fRate(rate), fChannels(channels) {
    fSecond.reserve(rate);
    fLoudest.reserve(rate);
}

void AudioAnalysis::Packet(uint32_t bytes, uint64_t arrivalMicros) {
    const double arrival = double(arrivalMicros);
    const double lengthMicros = bytes / (2.0 * fChannels) * 1e6 / fRate;
    // The audio cannot have been heard after it arrived, so it began no later
    // than each arrival less all the audio up to the packet's end.
    const double heardFrom = arrival - (double(fResult.frames) * 1e6 / fRate + lengthMicros);
    fResult.startMicros = fResult.packets == 0 ? heardFrom : std::min(fResult.startMicros, heardFrom);
    if (fResult.packets == 0) {
        fAudioEndMicros = arrival;
    } else if (const double missingMs = (arrival - lengthMicros - fAudioEndMicros) / 1000;
               missingMs > kGapToleranceMs) {
        if (fOpenGapMs > kGapToleranceMs) {
            ++fClosedGaps;
            fClosedGapMs += fOpenGapMs;
            fClosedLongestMs = std::max(fClosedLongestMs, fOpenGapMs);
        }
        fOpenGapMs = missingMs;
        fAudioEndMicros = arrival;
    } else {
        fAudioEndMicros += lengthMicros;
        const double earlyMs = std::min((fAudioEndMicros - arrival) / 1000, fOpenGapMs);
        if (earlyMs > 0) {
            fOpenGapMs -= earlyMs;
            fAudioEndMicros -= earlyMs * 1000;
        }
    }
    ++fResult.packets;
    ++fResult.sizes[bytes];
    const bool open = fOpenGapMs > kGapToleranceMs;
    fResult.gaps = fClosedGaps + (open ? 1 : 0);
    fResult.gapTotalMs = fClosedGapMs + (open ? fOpenGapMs : 0);
    fResult.gapLongestMs = std::max(fClosedLongestMs, open ? fOpenGapMs : 0);
}

void AudioAnalysis::Samples(const int16_t* samples, size_t frames) {
    const size_t blockFrames = fRate / kLevelBlocks;
    for (size_t frame = 0; frame < frames; ++frame) {
        float mono = 0, framePeak = 0;
        for (uint32_t channel = 0; channel < fChannels; ++channel) {
            const float value = samples[frame * fChannels + channel] / 32768.0f;
            mono += value;
            framePeak = std::max(framePeak, std::fabs(value));
        }
        fPeak = std::max(fPeak, framePeak);
        fBlockPeaks[fBlock] = std::max(fBlockPeaks[fBlock], framePeak);
        if (++fBlockFrames == blockFrames) {
            fBlockFrames = 0;
            fBlock = (fBlock + 1) % kLevelBlocks;
            fBlockPeaks[fBlock] = 0;
        }
        fSecond.push_back(mono / float(fChannels));
        if (fSecond.size() == fRate) {
            double energy = 0;
            for (const float value : fSecond) energy += double(value) * value;
            if (energy > fLoudestEnergy) {
                fLoudestEnergy = energy;
                fLoudest.swap(fSecond);
            }
            fSecond.clear();
        }
    }
    fResult.frames += frames;
    fResult.peakDbfs = Dbfs(fPeak);
    fResult.recentPeakDbfs = Dbfs(*std::max_element(fBlockPeaks.begin(), fBlockPeaks.end()));
}

void AudioAnalysis::Finish() {
    const std::vector<float>& stretch = fLoudestEnergy >= 0 ? fLoudest : fSecond;
    fResult.dominantHz = DominantFrequency(stretch.data(), stretch.size(), fRate);
}

} // namespace qcphost
