#pragma once
#include <X11/Xlib.h>
#include <X11/extensions/Xdamage.h>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "DisplayStream.h"
#include "FrameChannel.h"
#include "X11Connection.h"
#include "X11FrameGrabber.h"
#include "X11Monitors.h"

namespace qcp::platform::x11 {

// A display stream over X11. Its own thread, "display stream", wakes once per
// refresh of the monitor and looks at what the X server reported on the
// stream's own connection:
// - the monitor is gone: the run ends with an unrequested Stopped (RandR
//   reports changes of outputs; monitors that clients set change without
//   notice, so the arrangement is also read once a second);
// - DAMAGE reported a change in the captured part since the last frame: the
//   part is read (see X11FrameGrabber) into a pooled surface and delivered
//   Complete with the changed parts, told apart from later changes by the
//   serial of the read; when every pooled surface is still held the frame
//   waits for the next refresh;
// - nothing changed: Idle, once per quiet spell.
// The first refresh of every run delivers a frame. Once a second the part is
// read even without a report, in case the server missed one (direct
// rendering can draw past DAMAGE), and delivered only if it differs from the
// last frame. Deliveries are posted to the stream's queue; the thread never
// waits for them. Monitors moving on the root window are followed. Blank is
// not reported: X11 does not tell a sleeping monitor from a still one.
//
// When the X server is lost (or reconnected, which makes this connection
// stale), the run ends with an unrequested Stopped, as when the monitor goes;
// Start then answers false, and the connection is not used again but to be
// closed. A new stream is made on the new connection.
class X11DisplayStream final : public DisplayStream {
public:
    // Null when the monitor is not attached or the screen cannot be read.
    // `connection` belongs to the stream.
    static std::unique_ptr<X11DisplayStream> Create(std::unique_ptr<X11Connection> connection,
                                                    DisplayStreamConfig config, double refreshRate);
    ~X11DisplayStream() override;

    bool Start() override;
    bool Stop() override;
    bool LendsFrames() const override { return true; }

private:
    X11DisplayStream(std::unique_ptr<X11Connection> connection, DisplayStreamConfig config, double refreshRate,
                     int damageEventBase, int randrEventBase);

    // The capture thread's side.
    void Run();
    void Tick(int64_t now);
    // Reads what the server reported. Damage made before the request with
    // serial `readSerial` goes to fDirty, later damage to fDirtyAfterRead.
    void ReadEvents(unsigned long readSerial);
    void AddDamage(const XRectangle& area, unsigned long serial, unsigned long readSerial);
    // Posts `surface`, just read, unless nothing changed; false when it could not be posted.
    bool Deliver(Surface& surface, int64_t now);
    DirtyRects WholeFrame() const;
    void End(int64_t now); // ends the run unrequested
    enum class Aim { Gone, Moved, Same };
    Aim Reaim();
    bool SameAsLastFrame(const Surface& frame) const;
    void EndRun(); // on the host's thread: the capture thread stops and is joined

    const std::unique_ptr<X11Connection> fConnection; // declared first: closed last
    const DisplayStreamConfig fConfig;
    const int64_t fPeriodMicros;
    const int fDamageEventBase;
    const int fRandrEventBase; // -1 without RandR
    Damage fDamage = None;
    X11FrameGrabber fGrabber;
    FrameChannel* const fChannel;

    std::thread fThread;
    std::mutex fMutex;
    std::condition_variable fWake;
    bool fStopping = false;          // guarded by fMutex
    std::atomic<bool> fEnded{false}; // the monitor went away and ended the run

    // The capture thread's state, reset by Start before the thread runs.
    // The parts of the frame changed since the last delivered one was read
    // (the whole after a move); those changed after the read of the frame
    // being delivered wait in fDirtyAfterRead.
    DirtyRects fDirty;
    DirtyRects fDirtyAfterRead;
    bool fArrangementChanged = false;
    bool fDelivered = false; // a frame went out this run
    bool fIdleSent = false;
    int64_t fLastRead = 0;     // when the screen was last read
    int64_t fLastArranged = 0; // when the arrangement was last read
    SurfaceRef fLastFrame;     // the last frame delivered, kept unchanged
    std::vector<X11Monitor> fMonitors; // reused by each look at the arrangement
};

} // namespace qcp::platform::x11
