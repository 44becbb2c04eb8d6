#include "FrequencyScan.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace qcphost {
namespace {

constexpr double kLowest = 20, kHighest = 20000;
constexpr double kCoarseStep = 10, kFineStep = 0.05;

// The power at `frequency` of already windowed samples.
double GoertzelPower(const std::vector<float>& windowed, double frequency, double rate) {
    const double coefficient = 2 * std::cos(2 * M_PI * frequency / rate);
    double previous = 0, beforeThat = 0;
    for (const float sample : windowed) {
        const double next = sample + coefficient * previous - beforeThat;
        beforeThat = previous;
        previous = next;
    }
    return previous * previous + beforeThat * beforeThat - coefficient * previous * beforeThat;
}

// A Hann window keeps a loud tone's leakage from outshining its neighbours.
std::vector<float> Windowed(const float* samples, size_t count) {
    std::vector<float> windowed(count);
    for (size_t i = 0; i < count; ++i)
        windowed[i] = float(samples[i] * (0.5 - 0.5 * std::cos(2 * M_PI * double(i) / double(count - 1))));
    return windowed;
}

// The frequency of the strongest filter from `low` to `high` in `step`s, and its power.
std::pair<double, double> Strongest(const std::vector<float>& windowed, double low, double high, double step,
                                    double rate) {
    std::pair<double, double> best{0, 0};
    for (double frequency = low; frequency <= high; frequency += step) {
        const double power = GoertzelPower(windowed, frequency, rate);
        if (power > best.second) best = {frequency, power};
    }
    return best;
}

} // namespace

double DominantFrequency(const float* samples, size_t count, double rate) {
    const auto shortCount = size_t(rate / kCoarseStep);
    if (count < shortCount || rate <= 0) return 0;
    const double highest = std::min(kHighest, rate / 2 - kCoarseStep);
    // The coarse scan looks at the middle of the stretch, clear of any fade at its ends.
    const auto coarse = Strongest(Windowed(samples + (count - shortCount) / 2, shortCount), kLowest, highest,
                                  kCoarseStep, rate);
    if (coarse.second <= 0) return 0;
    return Strongest(Windowed(samples, count), std::max(kLowest, coarse.first - kCoarseStep),
                     coarse.first + kCoarseStep, kFineStep, rate)
        .first;
}

} // namespace qcphost
