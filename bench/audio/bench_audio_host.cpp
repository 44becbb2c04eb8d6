// A host for the audio benchmark: loads the plug-in (as qcp-host does),
// registers for the system audio and listens for the player's pulses in the
// packets, until SIGTERM or SIGINT. Prints "ready" at the first packet, then
// "heard ID MICROS AFTER" for each pulse (MICROS the steady clock when the
// callback with its onset began, AFTER that packet's frames from the onset
// on), and at the end "packets COUNT FIRST_MICROS LAST_MICROS".
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>
#include <thread>

#include "PluginLibrary.h"
#include "PulseFinder.h"

namespace {

volatile std::sig_atomic_t gStop = 0;

int64_t NowMicros() {
    return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// What the audio thread finds; the main thread prints it. Nothing here
// allocates or locks on the audio thread.
struct Listener {
    static constexpr int kMaxHeard = 4 * PulseFinder::kMaxId;
    PulseFinder finder;
    PulseFinder::Heard heard[kMaxHeard];
    std::atomic<int> heardCount{0};
    std::atomic<uint64_t> packets{0};
    std::atomic<int64_t> firstMicros{0}, lastMicros{0};

    static void Arrived(void* context, QCP_AudioBuffer* packet) {
        const int64_t now = NowMicros();
        auto* self = static_cast<Listener*>(context);
        if (!packet || !packet->data || packet->channels != 2 || packet->bitsPerSample != 16) return;
        if (self->packets.fetch_add(1) == 0) self->firstMicros = now;
        self->lastMicros = now;
        self->finder.Feed(static_cast<const int16_t*>(packet->data), packet->dataBytes / 4, now,
                          [self](const PulseFinder::Heard& heard) {
                              const int at = self->heardCount.load(std::memory_order_relaxed);
                              if (at == kMaxHeard) return;
                              self->heard[at] = heard;
                              self->heardCount.store(at + 1, std::memory_order_release);
                          });
    }

    // Prints what was heard since `printed`; returns the new count.
    int Print(int printed) const {
        const int count = heardCount.load(std::memory_order_acquire);
        for (; printed < count; ++printed)
            std::printf("heard %d %lld %u\n", heard[printed].id, static_cast<long long>(heard[printed].micros),
                        heard[printed].framesAfter);
        std::fflush(stdout);
        return printed;
    }
};

} // namespace

int main() {
    std::signal(SIGTERM, [](int) { gStop = 1; });
    std::signal(SIGINT, [](int) { gStop = 1; });
    try {
        qcphost::PluginLibrary plugin(qcphost::PluginLibrary::DefaultPath());
        if (!plugin.QCP_IntitializeLibrary()) {
            std::fprintf(stderr, "bench_audio_host: the plug-in did not initialise\n");
            return 1;
        }
        Listener listener;
        plugin.QCP_RegisterAudioDataArrivedCallback(QCP_AUDIO_DEVICE_ID, nullptr, &Listener::Arrived, &listener);
        bool ready = false;
        int printed = 0;
        while (!gStop) {
            // Seldom: this thread's wake-ups count in the plug-in's CPU figure.
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            if (!ready && listener.packets > 0) {
                std::printf("ready\n");
                ready = true;
            }
            printed = listener.Print(printed);
        }
        // No call follows the clearing; the routing is restored.
        plugin.QCP_RegisterAudioDataArrivedCallback(QCP_AUDIO_DEVICE_ID, nullptr, &Listener::Arrived, nullptr);
        listener.Print(printed);
        std::printf("packets %llu %lld %lld\n", static_cast<unsigned long long>(listener.packets.load()),
                    static_cast<long long>(listener.firstMicros.load()),
                    static_cast<long long>(listener.lastMicros.load()));
        plugin.QCP_UninitializeLibrary();
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_audio_host: %s\n", error.what());
        return 1;
    }
}
