#pragma once
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "DisplayLink.h"
#include "X11ServerState.h"

namespace qcp::platform::x11 {

// A monitor's refresh clock: its own thread, "display link", calls back once
// per refresh period (60 a second when the rate is unknown) with zTime's now.
// X11 offers no vertical-blank callback to a plain client, so the period is
// kept by the steady clock; after a stall it goes on from now rather than
// catching up.
//
// Once the X server it was made on is lost (or reconnected), the link stops
// calling back and stays quiet until Stop: its display is gone for good,
// and what the callback would read is too. IsRunning stays true until then.
class X11DisplayLink final : public DisplayLink {
public:
    // Ticks while `generation` of `server` is current.
    X11DisplayLink(double refreshRate, DisplayLinkCallback callback, std::shared_ptr<const X11ServerState> server,
                   uint64_t generation);
    ~X11DisplayLink() override { Stop(); }

    bool Start() override;
    void Stop() override;
    bool IsRunning() const override { return fThread.joinable(); }

private:
    void Run();

    const int64_t fPeriodMicros;
    const DisplayLinkCallback fCallback;
    const std::shared_ptr<const X11ServerState> fServer;
    const uint64_t fGeneration;
    std::thread fThread;
    std::mutex fMutex;
    std::condition_variable fWake;
    bool fStopping = false; // guarded by fMutex
};

} // namespace qcp::platform::x11
