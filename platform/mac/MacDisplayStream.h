#pragma once
#include <CoreGraphics/CoreGraphics.h>
#include <IOSurface/IOSurface.h>
#include <dispatch/dispatch.h>

#include <memory>
#include <mutex>

#include "DisplayStream.h"

namespace qcp::platform::mac {

// A display's frames from CGDisplayStream, which the macOS 15 SDK no longer
// declares: its functions are looked up in CoreGraphics at run time, and
// without them (a system that has dropped them) no stream is made. The
// stream delivers on a private dispatch queue; each frame is posted on to
// the configured queue in a surface over the stream's IOSurface (whose use
// count is raised while the surface lives, so the window server does not
// write it again under a consumer). Frames are the window server's: they are
// not lent. Dirty rectangles come from the stream's update, or name the
// whole frame when the output is scaled.
class MacDisplayStream final : public DisplayStream {
public:
    // Null when the display is not attached or the system has no display streams.
    static std::unique_ptr<MacDisplayStream> Create(DisplayStreamConfig config);
    ~MacDisplayStream() override;
    MacDisplayStream(const MacDisplayStream&) = delete;
    MacDisplayStream& operator=(const MacDisplayStream&) = delete;

    bool Start() override;
    bool Stop() override;

private:
    // What the stream's calls reach, shared with its block so that a call
    // after the stream has gone finds it no longer alive. Handler calls run
    // under the mutex; the destructor takes it to end them (recursive: also
    // from within a handler call, which is then the last).
    struct Delivery {
        std::recursive_mutex mutex;
        bool alive = true;
        bool running = false;
        int stopsAsked = 0; // Stopped statuses still to come from Stop
        FrameHandler handler;
        zQueue* queue = nullptr;
        bool unscaled = false;
        double width = 0, height = 0;
    };
    // One call of the stream, on its dispatch queue: the frame posted on.
    static void Deliver(const std::shared_ptr<Delivery>& delivery, int32_t status, uint64_t displayTime,
                        IOSurfaceRef frame, CFTypeRef update);

    explicit MacDisplayStream(DisplayStreamConfig config);

    dispatch_queue_t fDispatch = nullptr;
    CFTypeRef fStream = nullptr; // a CGDisplayStreamRef
    const std::shared_ptr<Delivery> fDelivery;
};

} // namespace qcp::platform::mac
