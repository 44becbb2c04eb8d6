#pragma once
#include <cstdint>
#include <optional>

#include "Image.h"
#include "Surface.h"

namespace qcp::platform::sim {

// Every picture the simulated desktop shows carries stamps, so that a test
// can tell which display or window, and which version of its content, it
// received. A display's frame has the display's stamp in its top-left
// corner; each visible window adds its own stamp at its top-left corner
// (unscaled, where it fits); a window image has the window's stamp in its
// top-left corner.
//
// A stamp is a row of kStampCells opaque square cells of kStampCellPixels
// pixels: a marker, then the identity and the counter, then a check cell.
struct Stamp {
    uint32_t identity = 0; // display id or window number
    uint32_t counter = 0;  // advances whenever the content changes
    friend bool operator==(const Stamp&, const Stamp&) = default;
};

constexpr int kStampCellPixels = 4;
constexpr int kStampCells = 4;
constexpr int kStampWidth = kStampCells * kStampCellPixels;
constexpr int kStampHeight = kStampCellPixels;

// Writes a stamp with its top-left corner at (x, y) of a BGRA pixel buffer;
// the caller has checked that it fits.
void WriteStamp(uint8_t* pixels, uint32_t bytesPerRow, int x, int y, const Stamp& stamp);
// Reads a stamp at (x, y); none when there is no intact stamp there (no
// marker, a bad check cell, or not enough room).
std::optional<Stamp> ReadStamp(const uint8_t* pixels, uint32_t bytesPerRow, uint32_t width, uint32_t height, int x,
                               int y);
// The stamp in the top-left corner of a surface (taking its lock) or image.
std::optional<Stamp> ReadStamp(const Surface& surface);
std::optional<Stamp> ReadStamp(const Image& image);

// Where a stamp of `identity` is in a surface: the first one found scanning
// rows from the top. None when there is none.
struct FoundStamp {
    Stamp stamp;
    int x = 0;
    int y = 0;
};
std::optional<FoundStamp> FindStamp(const Surface& surface, uint32_t identity);

} // namespace qcp::platform::sim
