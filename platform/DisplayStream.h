#pragma once
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "Geometry.h"
#include "Surface.h"

class zQueue;

namespace qcp::platform {

enum class FrameStatus { Complete, Idle, Blank, Stopped };

// Called on the stream's queue. With Complete the surface holds the new
// frame and stays valid during the call only (retain it to keep it); with
// the other statuses it is null. Stopped is the last call after Stop().
using FrameHandler = std::function<void(FrameStatus status, uint64_t displayTime, Surface* surface)>;

struct DisplayStreamConfig {
    uint32_t displayID = 0;
    uint32_t outputWidth = 0;
    uint32_t outputHeight = 0;
    uint32_t pixelFormat = kPixelFormatBGRA;
    // The part of the display to capture, in the display's points with the
    // origin at its top-left; the whole display when absent. Scaled to the
    // output size.
    std::optional<Rect> sourceRect;
    // Frames are delivered on this serial queue; it must outlive the stream.
    zQueue* queue = nullptr;
    FrameHandler handler;
};

// A display's frames, delivered only when something on it changed.
class DisplayStream {
public:
    // Stops without the Stopped call if still running.
    virtual ~DisplayStream() = default;
    virtual bool Start() = 0;
    // Asks the stream to stop; it answers later with a Stopped status on its
    // queue. False when it was not running.
    virtual bool Stop() = 0;
};

} // namespace qcp::platform
