#include "AudioReport.h"

#include <cmath>
#include <cstdio>

namespace qcphost {
namespace {

// JSON has no infinity: silence has no level, and no frequency either.
std::string Number(double value, const char* format) {
    if (!std::isfinite(value)) return "null";
    char text[32];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

std::string JsonText(const std::string& text) {
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') quoted += '\\';
        if (static_cast<unsigned char>(c) < 0x20) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
            quoted += escaped;
        } else {
            quoted += c;
        }
    }
    return quoted + "\"";
}

} // namespace

std::string AudioJson(const AudioRecorder& recorder) {
    const AudioAnalysis::Result& r = recorder.result();
    std::string sizes;
    for (const auto& [bytes, count] : r.sizes)
        sizes += (sizes.empty() ? "\"" : ", \"") + std::to_string(bytes) + "\": " + std::to_string(count);
    return "{\n    \"file\": " + JsonText(recorder.path()) +
           ",\n    \"packets\": " + std::to_string(r.packets) + ",\n    \"packet_sizes\": {" + sizes +
           "},\n    \"seconds\": " + Number(double(r.frames) / AudioRecorder::kRate, "%.3f") +
           ",\n    \"dropped_packets\": " + std::to_string(recorder.dropped()) +
           ",\n    \"malformed_packets\": " + std::to_string(recorder.malformed()) +
           ",\n    \"gaps\": " + std::to_string(r.gaps) + ",\n    \"gap_total_ms\": " + Number(r.gapTotalMs, "%.3f") +
           ",\n    \"gap_longest_ms\": " + Number(r.gapLongestMs, "%.3f") +
           ",\n    \"peak_dbfs\": " + Number(r.peakDbfs, "%.2f") +
           ",\n    \"dominant_hz\": " + Number(r.dominantHz > 0 ? r.dominantHz : NAN, "%.2f") + "\n  }";
}

std::string AudioLines(const AudioRecorder& recorder) {
    const AudioAnalysis::Result& r = recorder.result();
    char text[512];
    std::snprintf(text, sizeof text,
                  "audio: %llu packets, %.2f s, dropped: %llu, malformed: %llu\n"
                  "  gaps: %llu, %.1f ms in all, longest %.1f ms\n  peak: %s dBFS, dominant frequency: %s Hz\n",
                  (unsigned long long)r.packets, double(r.frames) / AudioRecorder::kRate,
                  (unsigned long long)recorder.dropped(), (unsigned long long)recorder.malformed(),
                  (unsigned long long)r.gaps, r.gapTotalMs, r.gapLongestMs, Number(r.peakDbfs, "%.2f").c_str(),
                  r.dominantHz > 0 ? Number(r.dominantHz, "%.2f").c_str() : "none");
    std::string lines = text;
    for (const auto& [bytes, count] : r.sizes)
        lines += "  " + std::to_string(bytes) + " bytes: " + std::to_string(count) + " packets\n";
    return lines + "audio file: " + recorder.path() + "\n";
}

std::string AudioFailure(const AudioRecorder& recorder) {
    if (!recorder.problem().empty()) return recorder.problem();
    if (recorder.malformed() > 0)
        return std::to_string(recorder.malformed()) +
               " audio packets were not 48 kHz 16-bit stereo PCM and were left out";
    if (recorder.dropped() > 0)
        return std::to_string(recorder.dropped()) + " audio packets were dropped: writing the file fell behind";
    if (recorder.result().packets == 0) return "no audio arrived";
    return {};
}

} // namespace qcphost
