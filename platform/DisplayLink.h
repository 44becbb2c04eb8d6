#pragma once
#include <cstdint>
#include <functional>

namespace qcp::platform {

// Called once per refresh of the display on the link's own thread, one call
// at a time, with the video time of that refresh ("now") on the zTime clock
// in microseconds.
using DisplayLinkCallback = std::function<void(int64_t videoTime)>;

// A display's refresh clock (CVDisplayLink made with
// CVDisplayLinkCreateWithCGDisplay and an output callback).
//
// Made by Platform::createDisplayLink on the host's thread; Start, Stop,
// IsRunning and the destructor are called from the host's thread, never
// concurrently with each other. The link keeps ticking at the rate it was
// made with if its display goes away; the core notices a lost display
// through the screen list, not through the link. Only when the whole window
// system is lost (the X server going away) does a link stop calling back,
// while still reporting itself running until Stop.
class DisplayLink {
public:
    // Stops it first (see Stop).
    virtual ~DisplayLink() = default;
    // Starts the ticks (CVDisplayLinkStart). True when running, also when
    // it already was; false when the system refuses.
    virtual bool Start() = 0;
    // Stops the ticks (CVDisplayLinkStop). Once it returns, the callback is
    // not running and will not run again until the next Start. Stopping a
    // link that is not running does nothing. Must not be called from the
    // callback itself.
    virtual void Stop() = 0;
    virtual bool IsRunning() const = 0;
};

} // namespace qcp::platform
