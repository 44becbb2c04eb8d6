#pragma once
#include <OpenGL/OpenGL.h>

#include <mutex>

#include "Compositor.h"
#include "CpuCompositor.h"

namespace qcp::platform::mac {

// Compositing on the GPU, OpenGL through CGL: every surface involved is
// bound to a rectangle texture over its IOSurface (CGLTexImageIOSurface2D),
// so a frame never leaves the GPU; a copy is one textured quad drawn with
// blending off, a picture (the cursor) is uploaded and drawn source-over in
// premultiplied alpha (GL_ONE, GL_ONE_MINUS_SRC_ALPHA); sampling is nearest,
// as on the CPU. One accelerated context serves the platform, made current
// by one caller at a time under a mutex, and each call waits for the GPU
// (glFinish) so that the pixels are there when it returns. Surfaces that
// are not IOSurfaces, and a system without an accelerated context, take the
// CPU path (CpuCompositor), which is also what the tests compare against.
class MacGLCompositor final : public Compositor {
public:
    MacGLCompositor();
    ~MacGLCompositor() override;
    MacGLCompositor(const MacGLCompositor&) = delete;
    MacGLCompositor& operator=(const MacGLCompositor&) = delete;

    void copySurface(const Surface& source, Surface& target) override;
    void copyArea(const Surface& source, Surface& target, const Rect& area) override;
    void drawImage(Surface& target, const Image& image, const Rect& where) override;

private:
    // Copies `area` of `source` into `target` on the GPU; false when the GPU
    // path cannot be taken (the caller then copies on the CPU).
    bool CopyOnGPU(const Surface& source, Surface& target, const Rect& area);
    bool DrawOnGPU(Surface& target, const Image& image, const Rect& where);

    std::mutex fMutex;
    CGLContextObj fContext = nullptr;
    CpuCompositor fCpu;
};

} // namespace qcp::platform::mac
