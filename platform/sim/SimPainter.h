#pragma once
#include <cstdint>
#include <optional>

#include "Cursor.h"
#include "Image.h"
#include "SimWorld.h"
#include "Surface.h"

// How the simulated desktop's pictures look: flat colours derived from
// identities, with stamps (SimStamp.h) in known places.
namespace qcp::platform::sim::SimPainter {

// The opaque colour (as a little-endian BGRA word) that a display or window
// of this identity is filled with.
uint32_t ColourOf(uint32_t identity);

// Paints `sourceRect` of the display (its points, top-left origin; the whole
// display when absent) scaled into `target`: the display's colour, the
// visible windows back to front each in its colour with its stamp at its
// top-left corner, and the display's stamp at the target's top-left corner.
// Takes the target's lock.
void PaintDisplay(const SimWorld::DisplayScene& scene, const std::optional<Rect>& sourceRect, Surface& target);

// A window's picture: its colour and its stamp, or all zero when
// `transparent`.
ImageRef PaintWindow(const Stamp& stamp, uint32_t width, uint32_t height, bool transparent);

// A picture of one colour (premultiplied BGRA word), for test cursors.
ImageRef SolidImage(uint32_t width, uint32_t height, uint32_t bgra);

// A 16 x 16 point arrow, opaque black with a white edge, hot spot (1, 1).
CursorImage ArrowCursor();

} // namespace qcp::platform::sim::SimPainter
