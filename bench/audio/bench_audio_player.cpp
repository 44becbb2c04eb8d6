// Plays into the sound server what the audio benchmark listens for.
//
//   bench_audio_player [--device SINK] --clicks N
//       silence, then N pulses (pulse i: i ms high, then i ms low, see
//       PulseFinder.h) about half a second apart; prints "played ID MICROS" for each, MICROS the
//       steady clock when its first frame was handed to the server
//   bench_audio_player [--device SINK] --tone
//       a quiet 440 Hz sine, below the pulses' threshold, until killed
#include <pulse/error.h>
#include <pulse/simple.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "PulseFinder.h"

namespace {

constexpr uint32_t kRate = 48000;
constexpr size_t kChunkFrames = 240; // 5 ms: each pulse starts a chunk

int64_t NowMicros() {
    return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

class Player {
public:
    explicit Player(const char* device) {
        const pa_sample_spec format{PA_SAMPLE_S16LE, kRate, 2};
        // A short queue (10 ms), as an interactive application keeps, so
        // that a click reaches the sink soon after it is handed over.
        const auto bytes = [](uint32_t ms) { return uint32_t(ms * kRate / 1000 * 4); };
        pa_buffer_attr attributes{};
        attributes.maxlength = attributes.prebuf = attributes.minreq = attributes.fragsize = uint32_t(-1);
        attributes.tlength = bytes(10);
        int error = 0;
        fStream = pa_simple_new(nullptr, "bench_audio_player", PA_STREAM_PLAYBACK, device, "benchmark", &format,
                                nullptr, &attributes, &error);
        if (!fStream) std::fprintf(stderr, "bench_audio_player: no stream: %s\n", pa_strerror(error));
    }
    ~Player() {
        if (fStream) pa_simple_free(fStream);
    }
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;
    bool ok() const { return fStream != nullptr; }

    // Plays `frames` frames of `samples` chunk by chunk, at the server's pace.
    bool Play(const int16_t* samples, size_t frames) {
        for (size_t at = 0; at < frames; at += kChunkFrames) {
            const size_t n = std::min(kChunkFrames, frames - at);
            int error = 0;
            if (pa_simple_write(fStream, samples + 2 * at, n * 4, &error) < 0) {
                std::fprintf(stderr, "bench_audio_player: write failed: %s\n", pa_strerror(error));
                return false;
            }
        }
        return true;
    }

private:
    pa_simple* fStream = nullptr;
};

int Clicks(Player& player, int clicks) {
    std::mt19937 random(std::random_device{}());
    std::uniform_int_distribution<int> chunks(80, 100); // 400 to 500 ms to the next click
    const std::vector<int16_t> silence(2 * kRate, 0);
    std::vector<int16_t> pulse;
    // Half a second for the streams to settle first.
    if (!player.Play(silence.data(), kRate / 2)) return 1;
    for (int id = 1; id <= clicks; ++id) {
        const size_t half = size_t{2} * id * PulseFinder::kFramesPerId;
        pulse.assign(half, PulseFinder::kLevel);
        pulse.resize(2 * half, -PulseFinder::kLevel);
        // The chunk holding the onset first, alone, so that its hand-over is timed.
        const size_t first = std::min(pulse.size() / 2, kChunkFrames);
        if (!player.Play(pulse.data(), first)) return 1;
        std::printf("played %d %lld\n", id, static_cast<long long>(NowMicros()));
        std::fflush(stdout);
        if (!player.Play(pulse.data() + 2 * first, pulse.size() / 2 - first)) return 1;
        if (!player.Play(silence.data(), chunks(random) * kChunkFrames)) return 1;
    }
    return 0;
}

int Tone(Player& player) {
    std::vector<int16_t> second(2 * kRate);
    const double amplitude = PulseFinder::kThreshold / 2;
    for (size_t i = 0; i < kRate; ++i)
        second[2 * i] = second[2 * i + 1] = int16_t(std::lround(amplitude * std::sin(2 * M_PI * 440 * i / kRate)));
    while (player.Play(second.data(), kRate)) {
    }
    return 1;
}

} // namespace

int main(int argc, char** argv) {
    const char* device = nullptr;
    int clicks = 0;
    bool tone = false;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--device" && i + 1 < argc)
            device = argv[++i];
        else if (arg == "--clicks" && i + 1 < argc)
            clicks = std::atoi(argv[++i]);
        else if (arg == "--tone")
            tone = true;
        else
            clicks = -1;
    }
    if (tone == (clicks != 0) || clicks < 0 || clicks > PulseFinder::kMaxId) {
        std::fprintf(stderr, "usage: bench_audio_player [--device SINK] --clicks N (1 to %d) | --tone\n",
                     PulseFinder::kMaxId);
        return 2;
    }
    Player player(device);
    if (!player.ok()) return 1;
    return tone ? Tone(player) : Clicks(player, clicks);
}
