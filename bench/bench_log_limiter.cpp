// The log limiter on a call site that logs per frame or per packet: the cost
// of a message that the limiter drops and of one that reaches the host.
#include <benchmark/benchmark.h>

#include <cstdint>

#include "MacCaptureLogging.h"
#include "zTime.h"

namespace {
int64_t gDelivered = 0;
void CountingSink(void*, int, const char*, ...) { ++gDelivered; }

// One call site for every benchmark, as a per-packet fault would be.
void LogPacketFault() { MC_LOG(3, "Converted Audio Data Size is Malformed=%d Packet Size=%d\n", 7199, 4); }

class Sink {
public:
    Sink() {
        MC::initializeMacCaptureLogging();
        MC::setLog(&CountingSink, this, MC::kLogBurstCeiling, MC::kLogBurstFloor);
        gDelivered = 0;
    }
    ~Sink() { MC::shutdownMacCaptureLogging(); }
};

void DroppedMessage(benchmark::State& state) {
    Sink sink;
    // Past the burst's full messages: from here on one in 302 reaches the host.
    for (int i = 0; i < MC::kLogBurstFloor; ++i) LogPacketFault();
    for (auto _ : state) LogPacketFault();
    state.counters["delivered"] = benchmark::Counter(double(gDelivered) / double(state.iterations()));
}
BENCHMARK(DroppedMessage);

// A clock that jumps six seconds per reading: every message at the call site
// comes after a pause and starts a new burst, so every one is delivered.
int64_t gPausedClock = 0;
int64_t PausedClock() { return gPausedClock += 6'000'000; }

void DeliveredMessage(benchmark::State& state) {
    zTime::SetSource(&PausedClock);
    {
        Sink sink;
        for (auto _ : state) LogPacketFault();
        state.counters["delivered"] = benchmark::Counter(double(gDelivered) / double(state.iterations()));
    }
    zTime::SetSource(nullptr);
}
BENCHMARK(DeliveredMessage);
} // namespace
