#pragma once
#include <atomic>
#include <optional>

#include "AllocationCounter.h"
#include "QCP_API.h"

// A host's audio callback that counts the allocations on the audio thread
// from the second packet to the 32nd: everything the chain does there, from
// the device's cycles to the host's callback. It allocates nothing itself.
struct AllocationWatch {
    std::optional<AllocationCounter> counter;
    std::atomic<int> packets{0};
    std::atomic<int> allocations{-1}; // -1 until the 32nd packet

    static void Arrived(void* context, QCP_AudioBuffer*) {
        auto& self = *static_cast<AllocationWatch*>(context);
        const int packet = ++self.packets;
        if (packet == 2) self.counter.emplace();
        if (packet == 32) {
            self.allocations = self.counter->count();
            self.counter.reset();
        }
    }
};
