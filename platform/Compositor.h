#pragma once
#include "Geometry.h"
#include "Image.h"
#include "Surface.h"

namespace qcp::platform {

// Pixel work on surfaces, all in premultiplied alpha: copying a captured
// frame into the output surface and drawing a picture (the cursor, a window
// image) over a surface. On macOS the first is a textured quad into an
// IOSurface-backed framebuffer and the second a bitmap-context or OpenGL
// draw; elsewhere CpuCompositor (cpu/CpuCompositor.h) follows the same
// steps on the CPU, and every platform may use it.
//
// Runs on the caller's thread (a source's render queue or a display-link
// thread); the core serialises calls per surface. The caller holds neither
// surface's lock: the compositor takes them itself (SurfacePairLock).
// The core has checked the geometry: both surfaces exist, are distinct, and
// have pixels of 4 bytes.
class Compositor {
public:
    virtual ~Compositor() = default;
    // Replaces the pixels of `target` with those of `source`, which has the
    // same width and height (rows may differ in length). Where they do not
    // (a caller's mistake), only the common top-left part is copied.
    virtual void copySurface(const Surface& source, Surface& target) = 0;
    // Replaces the pixels of `area` of `target` with those at the same place
    // of `source` (same size as for copySurface). `area` is in pixels with
    // the origin at the top-left corner, y down, whole pixels; what lies
    // outside either surface is left out. On macOS a quad over that area.
    virtual void copyArea(const Surface& source, Surface& target, const Rect& area) = 0;
    // Draws `image` scaled to fill `where` over the target with source-over
    // blending (one, one minus source alpha). `where` is in the target's
    // pixels with the origin at its top-left corner, y down; parts outside
    // the target are clipped, and nothing is drawn for an empty `where` or
    // image. The bitmap-context draw of macOS measures from the bottom-left;
    // the caller flips.
    virtual void drawImage(Surface& target, const Image& image, const Rect& where) = 0;
};

} // namespace qcp::platform
