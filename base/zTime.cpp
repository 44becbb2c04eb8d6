#include "zTime.h"

#include <atomic>
#include <chrono>

namespace {
int64_t SteadyMicros() {
    using namespace std::chrono;
    return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}
std::atomic<zTime::Source> gSource{&SteadyMicros};
} // namespace

int64_t zTime::MicroNow() { return gSource.load(std::memory_order_relaxed)(); }

void zTime::SetSource(Source source) { gSource.store(source ? source : &SteadyMicros); }
