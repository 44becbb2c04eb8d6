#include "PictureWindowFrames.h"

#include "MacCaptureDisplayUtils.h"
#include "Platform.h"

namespace MC {

using namespace qcp::platform;

WindowFrame PictureWindowFrames::Next(bool) {
    ImageRef image = Current()->windowServer().windowImage(fWindowID);
    if (!image) return {};
    if (image == fImage && fSurface) return {fSurface, false, std::nullopt};
    fSurface = copyCGImageRefToIOSurface(*image, fSurface);
    fImage = fSurface ? std::move(image) : nullptr;
    return {fSurface, true, std::nullopt};
}

} // namespace MC
