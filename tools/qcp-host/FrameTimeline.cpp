#include "FrameTimeline.h"

#include <algorithm>
#include <cmath>

namespace qcphost {

uint64_t FrameTimeline::Slot(double seconds) const {
    // The slot the time falls in, a millionth of a slot forgiven for the
    // rounding of times that lie on a slot's start.
    return seconds > 0 ? uint64_t(std::floor(seconds * fRate + 1e-6)) : 0;
}

uint64_t FrameTimeline::Advance(uint64_t slot, uint64_t least) {
    const uint64_t repeats = std::max(slot > fWritten ? slot - fWritten : 0, least);
    fWritten += repeats;
    return repeats;
}

uint64_t FrameTimeline::Arrive(double seconds) {
    if (!fHolding) {
        fHolding = true;
        return 0;
    }
    return Advance(Slot(seconds), 0);
}

uint64_t FrameTimeline::End(double seconds) {
    if (!fHolding) return 0;
    fHolding = false;
    return Advance(Slot(seconds), 1);
}

} // namespace qcphost
