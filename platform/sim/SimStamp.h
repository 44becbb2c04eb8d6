#pragma once
#include <cstdint>
#include <optional>

#include "Surface.h"

namespace qcp::platform::sim {

// Every simulated display and window carries a stamp in its top-left corner:
// a row of cells holding a marker, its identity (display id or window
// number) and a frame counter, so a test can tell which frame it received.
struct Stamp {
    uint32_t identity = 0;
    uint32_t counter = 0;
    friend bool operator==(const Stamp&, const Stamp&) = default;
};

constexpr int kStampCellPixels = 4;
constexpr int kStampCells = 5;

// Writes the stamp at (x, y) of a BGRA pixel buffer.
void WriteStamp(uint8_t* pixels, uint32_t bytesPerRow, int x, int y, const Stamp& stamp);
// Reads a stamp at (x, y); none when no marker is there.
std::optional<Stamp> ReadStamp(const uint8_t* pixels, uint32_t bytesPerRow, uint32_t width, uint32_t height, int x,
                               int y);
// Reads the stamp at a surface's top-left corner.
std::optional<Stamp> ReadStamp(const Surface& surface);

} // namespace qcp::platform::sim
