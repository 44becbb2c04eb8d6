#pragma once
#include <atomic>
#include <cstdint>

namespace qcp::platform::x11 {

// Whether the X server that the platform's connections share is reachable,
// and which generation of connections is current: every reconnection after
// a loss starts a new generation, and connections of older ones are stale.
//
// Both live in one atomic word, so the I/O error handler can mark a loss
// without a lock, and a late error on a stale connection cannot mark the
// generation that replaced it as lost.
class X11ServerState {
public:
    uint64_t generation() const { return fWord.load(std::memory_order_acquire) >> 1; }
    bool lost() const { return fWord.load(std::memory_order_acquire) & 1; }
    // Whether connections of `generation` may be used.
    bool Current(uint64_t generation) const { return fWord.load(std::memory_order_acquire) == generation << 1; }

    // Marks `generation` lost, unless a later one has replaced it. Lock-free:
    // called from the I/O error handler.
    void MarkLost(uint64_t generation) {
        uint64_t word = generation << 1;
        fWord.compare_exchange_strong(word, word | 1, std::memory_order_acq_rel);
    }
    // Starts the generation after a lost one; returns it.
    uint64_t Restore() {
        const uint64_t next = generation() + 1;
        fWord.store(next << 1, std::memory_order_release);
        return next;
    }

private:
    // generation << 1 | lost. Generation 0 is the one before any connection,
    // lost until the first succeeds.
    std::atomic<uint64_t> fWord{1};
};

} // namespace qcp::platform::x11
