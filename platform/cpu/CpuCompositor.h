#pragma once
#include "Compositor.h"

namespace qcp::platform {

// The compositor on the CPU, for platforms without a GPU path.
class CpuCompositor final : public Compositor {
public:
    void copySurface(const Surface& source, Surface& target) override;
    void drawImage(Surface& target, const Image& image, const Rect& where) override;
};

} // namespace qcp::platform
