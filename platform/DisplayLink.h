#pragma once
#include <cstdint>
#include <functional>

namespace qcp::platform {

// Called once per refresh of the display, on the link's own thread, with the
// video time in microseconds.
using DisplayLinkCallback = std::function<void(int64_t videoTime)>;

class DisplayLink {
public:
    virtual ~DisplayLink() = default;
    virtual bool Start() = 0;
    // Once it returns, the callback is not running and will not run again.
    virtual void Stop() = 0;
    virtual bool IsRunning() const = 0;
};

} // namespace qcp::platform
