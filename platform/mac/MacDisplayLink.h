#pragma once
#include <CoreVideo/CoreVideo.h>

#include <memory>
#include <mutex>

#include "DisplayLink.h"

namespace qcp::platform::mac {

// A CVDisplayLink of one display. CoreVideo calls back on a thread of its
// own; CVDisplayLinkStop does not wait for a call under way, so every call
// runs under a mutex that Stop takes after stopping the link: once Stop
// returns no call runs, and a late one finds the link stopped and returns.
// The video time handed on is the zTime clock at the call.
class MacDisplayLink final : public DisplayLink {
public:
    // Null when the display has no link (not attached).
    static std::unique_ptr<MacDisplayLink> Create(uint32_t displayID, DisplayLinkCallback callback);
    ~MacDisplayLink() override;
    MacDisplayLink(const MacDisplayLink&) = delete;
    MacDisplayLink& operator=(const MacDisplayLink&) = delete;

    bool Start() override;
    void Stop() override;
    bool IsRunning() const override;

private:
    MacDisplayLink(CVDisplayLinkRef link, DisplayLinkCallback callback)
        : fLink(link), fCallback(std::move(callback)) {}
    static CVReturn Output(CVDisplayLinkRef link, const CVTimeStamp* now, const CVTimeStamp* outputTime,
                           CVOptionFlags flagsIn, CVOptionFlags* flagsOut, void* context);

    const CVDisplayLinkRef fLink;
    const DisplayLinkCallback fCallback;
    mutable std::mutex fCalling;
    bool fRunning = false; // under fCalling
};

} // namespace qcp::platform::mac
