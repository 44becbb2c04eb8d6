#pragma once
#include <cstdint>

// The process's monotonic microsecond clock. Every timed behaviour of the
// plug-in reads it here, so that tests can substitute a manual clock.
namespace zTime {
using Source = int64_t (*)();

int64_t MicroNow();
// Replaces the clock; nullptr restores the steady clock. Not thread-safe
// against concurrent readers: set it before the code under test runs.
void SetSource(Source source);
} // namespace zTime
