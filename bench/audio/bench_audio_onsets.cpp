// Reads 48 kHz 16-bit stereo from standard input (a recorder's raw output on
// a pipe) and prints "ready" at the first data, then "heard ID MICROS AFTER"
// for each of the player's pulses: MICROS the steady clock when the read
// holding its onset returned, AFTER that read's frames from the onset on.
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <vector>

#include "PulseFinder.h"

int main() {
    std::vector<int16_t> samples(1 << 15);
    char* const buffer = reinterpret_cast<char*>(samples.data());
    const size_t capacity = samples.size() * sizeof(int16_t);
    size_t held = 0; // bytes of a frame split between reads
    bool ready = false;
    PulseFinder finder;
    while (true) {
        const ssize_t got = read(STDIN_FILENO, buffer + held, capacity - held);
        const auto micros = std::chrono::duration_cast<std::chrono::microseconds>(
                                std::chrono::steady_clock::now().time_since_epoch())
                                .count();
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) {
            std::fprintf(stderr, "bench_audio_onsets: %s\n", std::strerror(errno));
            return 1;
        }
        if (got == 0) return 0;
        if (!ready) {
            std::printf("ready\n");
            ready = true;
        }
        const size_t bytes = held + size_t(got);
        const size_t frames = bytes / 4;
        finder.Feed(samples.data(), frames, micros,
                    [](const PulseFinder::Heard& heard) {
                        std::printf("heard %d %lld %u\n", heard.id, static_cast<long long>(heard.micros),
                                    heard.framesAfter);
                    });
        held = bytes - frames * 4;
        std::memmove(buffer, buffer + frames * 4, held);
        std::fflush(stdout);
    }
}
