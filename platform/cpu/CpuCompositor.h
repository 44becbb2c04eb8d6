#pragma once
#include "Compositor.h"

namespace qcp::platform {

// The compositor on the CPU, for platforms without a GPU path (sim, linux):
// row copies, and nearest-sample scaling with source-over blending in
// premultiplied alpha, which is what the OpenGL path's blend function
// (GL_ONE, GL_ONE_MINUS_SRC_ALPHA) computes. Stateless; any thread.
class CpuCompositor final : public Compositor {
public:
    void copySurface(const Surface& source, Surface& target) override;
    void copyArea(const Surface& source, Surface& target, const Rect& area) override;
    void drawImage(Surface& target, const Image& image, const Rect& where) override;
};

} // namespace qcp::platform
