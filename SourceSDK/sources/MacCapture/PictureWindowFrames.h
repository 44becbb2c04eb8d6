#pragma once
#include <cstdint>

#include "Image.h"
#include "WindowFrames.h"

namespace MC {

// A window's frames where the platform gives only pictures
// (WindowServer::windowImage): each new picture is copied into one surface
// of the window's size, reused from frame to frame while the size holds; an
// unchanged picture gives that surface again as the caller left it.
class PictureWindowFrames final : public qcp::platform::WindowFrames {
public:
    explicit PictureWindowFrames(uint32_t windowID) : fWindowID(windowID) {}
    qcp::platform::WindowFrame Next(bool withBounds) override;

private:
    const uint32_t fWindowID;
    qcp::platform::ImageRef fImage; // the picture fSurface holds
    qcp::platform::SurfaceRef fSurface;
};

} // namespace MC
