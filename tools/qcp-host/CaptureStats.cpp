#include "CaptureStats.h"

#include <algorithm>
#include <cstdio>

namespace qcphost {

uint64_t CaptureStats::NowMicros() {
    using namespace std::chrono;
    return uint64_t(duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count());
}

void CaptureStats::Add(uint32_t width, uint32_t height, uint64_t captured, bool noFeed) {
    const uint64_t now = NowMicros();
    std::lock_guard lock(fMutex);
    if (noFeed) {
        ++fSummary.noFeed;
        return;
    }
    ++fSummary.sizes[{width, height}];
    if (fSummary.frames > 0) {
        const double interval = (now - fLastFrame) / 1000.0;
        fIntervalTotal += interval;
        fSummary.worstIntervalMs = std::max(fSummary.worstIntervalMs, interval);
        fSummary.meanIntervalMs = fIntervalTotal / double(fSummary.frames);
    }
    ++fSummary.frames;
    fLastFrame = now;
    if (captured != 0 && captured <= now) {
        const double latency = (now - captured) / 1000.0;
        ++fSummary.latencySamples;
        fLatencyTotal += latency;
        fSummary.worstLatencyMs = std::max(fSummary.worstLatencyMs, latency);
        fSummary.meanLatencyMs = fLatencyTotal / double(fSummary.latencySamples);
    }
}

CaptureStats::Summary CaptureStats::Snapshot() const {
    std::lock_guard lock(fMutex);
    return fSummary;
}

std::string CaptureStats::JsonFields(const Summary& s, double seconds, uint64_t dropped) {
    std::string sizes;
    for (const auto& [size, count] : s.sizes) {
        char entry[96];
        std::snprintf(entry, sizeof entry, "%s{\"width\": %u, \"height\": %u, \"frames\": %llu}",
                      sizes.empty() ? "" : ", ", size.first, size.second, (unsigned long long)count);
        sizes += entry;
    }
    // The sizes go in apart: any number of them fits.
    char counts[256], timing[256], latency[256] = "null";
    std::snprintf(counts, sizeof counts,
                  "  \"frames\": %llu,\n  \"frames_per_second\": %.2f,\n  \"recorder_dropped\": %llu,\n"
                  "  \"no_feed_frames\": %llu,\n",
                  (unsigned long long)s.frames, seconds > 0 ? s.frames / seconds : 0.0, (unsigned long long)dropped,
                  (unsigned long long)s.noFeed);
    std::snprintf(timing, sizeof timing, ",\n  \"mean_interval_ms\": %.3f,\n  \"worst_interval_ms\": %.3f,\n",
                  s.meanIntervalMs, s.worstIntervalMs);
    // Without time stamps there is no latency to tell, not a latency of 0.
    if (s.latencySamples > 0)
        std::snprintf(latency, sizeof latency, "{\"mean_ms\": %.3f, \"worst_ms\": %.3f, \"samples\": %llu}",
                      s.meanLatencyMs, s.worstLatencyMs, (unsigned long long)s.latencySamples);
    return counts + ("  \"sizes\": [" + sizes + "]") + timing + "  \"capture_to_callback\": " + latency;
}

} // namespace qcphost
