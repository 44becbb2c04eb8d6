#pragma once
#include <cstddef>

namespace qcphost {

// The dominant frequency of a stretch of mono samples, found without an FFT:
// Goertzel filters over a Hann-windowed 0.1 s at every 10 Hz from 20 Hz to
// 20 kHz pick the strongest band, then filters over the whole stretch every
// 0.05 Hz within 10 Hz of it find the peak. Plain function, any thread; a
// one-second stretch costs about 30 million multiply-adds.
// 0 when the stretch is shorter than 0.1 s or silent.
double DominantFrequency(const float* samples, size_t count, double rate);

} // namespace qcphost
