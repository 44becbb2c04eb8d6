// The log limiter on a call site that logs per frame or per packet: the cost
// of a message that is dropped and of one that reaches the host.
#include <benchmark/benchmark.h>

#include <cstdarg>

#include "MacCaptureLogging.h"

namespace {
int gDelivered = 0;
void CountingSink(void*, int, const char*, ...) { ++gDelivered; }

struct Sink {
    Sink() {
        MC::initializeMacCaptureLogging();
        MC::setLog(&CountingSink, this, MC::kLogBurstCeiling, MC::kLogBurstFloor);
    }
    ~Sink() { MC::shutdownMacCaptureLogging(); }
};

void DroppedMessage(benchmark::State& state) {
    Sink sink;
    for (int i = 0; i <= MC::kLogBurstFloor; ++i) MC_LOG(3, "warm-up %d\n", i);
    for (auto _ : state) MC_LOG(3, "Converted Audio Data Size is Malformed=%d Packet Size=%d\n", 7200, 4);
    state.counters["delivered/s"] = benchmark::Counter(gDelivered, benchmark::Counter::kIsRate);
}
BENCHMARK(DroppedMessage);

void DeliveredMessage(benchmark::State& state) {
    Sink sink;
    for (auto _ : state) {
        // A new registration resets the burst, so every message goes out.
        MC::setLog(&CountingSink, &sink, MC::kLogBurstCeiling, MC::kLogBurstFloor);
        MC_LOG(3, "Converted Audio Data Size is Malformed=%d Packet Size=%d\n", 7200, 4);
    }
}
BENCHMARK(DeliveredMessage);
} // namespace
