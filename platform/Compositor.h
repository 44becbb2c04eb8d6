#pragma once
#include "Geometry.h"
#include "Image.h"
#include "Surface.h"

namespace qcp::platform {

// Pixel work on surfaces, all premultiplied alpha: copies, and drawing a
// picture over a surface with source-over blending (one, one minus source
// alpha). Runs on the caller's thread; the caller holds neither surface's
// lock.
class Compositor {
public:
    virtual ~Compositor() = default;
    // Copies the pixels of `source` into `target`, which has the same width
    // and height.
    virtual void copySurface(const Surface& source, Surface& target) = 0;
    // Draws `image` scaled into `where`, given in the target's pixels with
    // the origin at its top-left, y down; parts outside the target are
    // clipped.
    virtual void drawImage(Surface& target, const Image& image, const Rect& where) = 0;
};

} // namespace qcp::platform
