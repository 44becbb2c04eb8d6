#pragma once
#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <utility>

namespace qcphost {

// What the host's video callback saw: counts, sizes, the spacing of video
// frames and how long frames took from capture to the callback.
class CaptureStats {
public:
    struct Summary {
        uint64_t frames = 0;   // video frames
        uint64_t noFeed = 0;   // placeholder frames, counted apart from the video's
        std::map<std::pair<uint32_t, uint32_t>, uint64_t> sizes; // of the video frames: they add up to `frames`
        double meanIntervalMs = 0, worstIntervalMs = 0;
        double meanLatencyMs = 0, worstLatencyMs = 0;
        uint64_t latencySamples = 0;
    };

    // `captured` is the frame's time stamp in microseconds on the steady clock
    // (0 when the frame carries none).
    void Add(uint32_t width, uint32_t height, uint64_t captured, bool noFeed);
    Summary Snapshot() const;

    static uint64_t NowMicros();
    // The summary as the members of a JSON object, one a line; `dropped` are
    // the frames the host's recorder could not keep.
    static std::string JsonFields(const Summary& summary, double seconds, uint64_t dropped);

private:
    mutable std::mutex fMutex;
    Summary fSummary;
    uint64_t fLastFrame = 0;
    double fIntervalTotal = 0, fLatencyTotal = 0;
};

} // namespace qcphost
