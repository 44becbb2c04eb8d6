#pragma once
#include <cstdint>

namespace qcphost {

// Places frames stamped with their capture time on a constant-rate video
// that lasts as long as the capture, to within one slot: each frame is shown
// from the slot its time falls in until the next frame's, the first one also
// fills the slots before it, and the last one is shown until the capture's
// end. Frames that share a slot leave only the latest. Not thread-safe; the
// recorder's writer owns it.
class FrameTimeline {
public:
    explicit FrameTimeline(double framesPerSecond) : fRate(framesPerSecond) {}

    // A frame captured `seconds` after the start takes the place of the one
    // held so far: how many times that one is to be written first.
    uint64_t Arrive(double seconds);
    // The capture ended `seconds` after the start: how many times the frame
    // held is to be written (at least once, so that it is seen).
    uint64_t End(double seconds);

    uint64_t written() const { return fWritten; }
    double seconds() const { return double(fWritten) / fRate; }

private:
    uint64_t Slot(double seconds) const;
    uint64_t Advance(uint64_t slot, uint64_t least);

    const double fRate;
    uint64_t fWritten = 0;
    bool fHolding = false;
};

} // namespace qcphost
