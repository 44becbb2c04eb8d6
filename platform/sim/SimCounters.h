#pragma once
#include <atomic>
#include <cstdint>

namespace qcp::platform::sim {

// What the simulated desktop has done, for tests to read: a snapshot.
struct SimCounters {
    uint64_t framesDelivered = 0; // Complete frames posted by all display streams
    uint64_t idleDelivered = 0;   // Idle statuses posted
    uint64_t blankDelivered = 0;  // Blank statuses posted
    uint64_t stoppedDelivered = 0; // Stopped statuses posted, asked for or not
    uint64_t framesDropped = 0;   // frames skipped because every pooled surface was still held
    uint64_t windowImages = 0;    // window images handed out (faulty ones included)
    uint64_t windowLists = 0;     // window lists handed out (every inventory refresh and window poll reads one)
    uint64_t linkTicks = 0;       // display-link callbacks made
    int64_t runningStreams = 0;   // display streams started and not yet stopped or ended
    int64_t runningLinks = 0;     // display links started and not yet stopped
};

// The live counters behind SimCounters; the platform's objects bump them
// from their own threads.
struct SimCounterSet {
    std::atomic<uint64_t> framesDelivered{0};
    std::atomic<uint64_t> idleDelivered{0};
    std::atomic<uint64_t> blankDelivered{0};
    std::atomic<uint64_t> stoppedDelivered{0};
    std::atomic<uint64_t> framesDropped{0};
    std::atomic<uint64_t> windowImages{0};
    std::atomic<uint64_t> windowLists{0};
    std::atomic<uint64_t> linkTicks{0};
    std::atomic<int64_t> runningStreams{0};
    std::atomic<int64_t> runningLinks{0};

    SimCounters Snapshot() const {
        return {framesDelivered.load(), idleDelivered.load(), blankDelivered.load(), stoppedDelivered.load(),
                framesDropped.load(),   windowImages.load(),  windowLists.load(),   linkTicks.load(),
                runningStreams.load(),  runningLinks.load()};
    }
};

} // namespace qcp::platform::sim
