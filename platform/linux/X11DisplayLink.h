#pragma once
#include <condition_variable>
#include <mutex>
#include <thread>

#include "DisplayLink.h"

namespace qcp::platform::x11 {

// A monitor's refresh clock: its own thread, "display link", calls back once
// per refresh period (60 a second when the rate is unknown) with zTime's now.
// X11 offers no vertical-blank callback to a plain client, so the period is
// kept by the steady clock; after a stall it goes on from now rather than
// catching up.
class X11DisplayLink final : public DisplayLink {
public:
    X11DisplayLink(double refreshRate, DisplayLinkCallback callback);
    ~X11DisplayLink() override { Stop(); }

    bool Start() override;
    void Stop() override;
    bool IsRunning() const override { return fThread.joinable(); }

private:
    void Run();

    const int64_t fPeriodMicros;
    const DisplayLinkCallback fCallback;
    std::thread fThread;
    std::mutex fMutex;
    std::condition_variable fWake;
    bool fStopping = false; // guarded by fMutex
};

} // namespace qcp::platform::x11
