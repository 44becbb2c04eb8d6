#pragma once
#include <CoreGraphics/CoreGraphics.h>

#include "Image.h"

namespace qcp::platform::mac {

// A CoreGraphics image drawn into premultiplied B, G, R, A pixels (sRGB), the
// layout of every Image; null when it is empty or cannot be drawn.
ImageRef ImageFromCGImage(CGImageRef image);

} // namespace qcp::platform::mac
