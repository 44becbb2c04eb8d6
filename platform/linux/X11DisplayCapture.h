#pragma once
#include <X11/Xlib.h>
#include <X11/extensions/Xdamage.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "DisplayStream.h"
#include "X11Connection.h"
#include "X11FrameGrabber.h"
#include "X11Monitors.h"
#include "zRefCount.h"

namespace qcp::platform::x11 {

// What an X11DisplayStream does, on the stream's own queue: once per refresh
// of the monitor a tick looks at what the X server reported on the stream's
// connection and calls the handler then and there:
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
// last frame. Reading where the handler runs spares every frame a hand-over
// between threads, the larger part of its cost; a slow handler delays the
// next tick, as it would delay the next delivery.
//
// When the X server is lost (or reconnected, which makes this connection
// stale), the run ends with an unrequested Stopped, as when the monitor goes;
// Start then answers false, and the connection is not used again but to be
// closed. A new stream is made on the new connection.
//
// Reference counted: the stream holds one reference, and each scheduled
// tick or queued Stopped another, so that a handler may destroy the stream
// in the middle of a tick. The state and the connection belong to whoever
// holds the turn: a tick, or a Stopped call, on the queue, or Start, Stop
// and Close on the host's thread. Called from the handler, these three run
// in the turn of the call that is running it.
class X11DisplayCapture final : public zRefCount {
public:
    // Null when the monitor is not attached or the screen cannot be read.
    // Retained for the caller.
    static X11DisplayCapture* Create(std::unique_ptr<X11Connection> connection, DisplayStreamConfig config,
                                     double refreshRate);

    // As DisplayStream's.
    bool Start();
    bool Stop();
    // The run ends without a Stopped call and no handler call follows; once
    // it returns none is running either, unless it is called from one.
    void Close();

private:
    X11DisplayCapture(std::unique_ptr<X11Connection> connection, DisplayStreamConfig config, double refreshRate,
                      int damageEventBase, int randrEventBase);
    ~X11DisplayCapture() override;

    // The turn, unless this thread has it already (it runs the handler).
    std::unique_lock<std::mutex> TakeTurn();
    // Whether the run numbered `run` is still on.
    bool Live(uint64_t run) const { return run == fRun && fRunning && !fClosed; }
    // Queues the run's next tick, one refresh after the last (from now
    // after a stall, rather than catching up).
    void ScheduleTick();
    void QueueTick(int64_t now);
    void OnTick(uint64_t run);
    void OnStopped(uint64_t displayTime);
    void EndRun(); // no tick of the run runs any more

    void Tick(int64_t now);
    // What a tick found: nothing to do until the next, nothing changed, a
    // new frame (read into `frame`), or the end of the run.
    enum class Step { Wait, Idle, Frame, End };
    Step Look(int64_t now, Surface*& frame);
    // Reads what the server reported. Damage made before the request with
    // serial `readSerial` goes to fDirty, later damage to fDirtyAfterRead.
    void ReadEvents(unsigned long readSerial);
    void AddDamage(const XRectangle& area, unsigned long serial, unsigned long readSerial);
    // Hands `surface`, just read, to the handler unless nothing changed.
    void Deliver(Surface& surface, int64_t now);
    void SendIdle(int64_t now);
    DirtyRects WholeFrame() const;
    void End(int64_t now); // ends the run unrequested
    enum class Aim { Gone, Moved, Same };
    Aim Reaim();
    bool SameAsLastFrame(const Surface& frame) const;

    const std::unique_ptr<X11Connection> fConnection; // declared first: closed last
    const DisplayStreamConfig fConfig;
    zQueue& fQueue;
    const int64_t fPeriodMicros;
    const int fDamageEventBase;
    const int fRandrEventBase; // -1 without RandR
    Damage fDamage = None;
    X11FrameGrabber fGrabber;

    std::mutex fTurn;
    // The run, numbered so that a tick queued for an ended run does nothing.
    uint64_t fRun = 0;
    bool fRunning = false;
    bool fClosed = false;
    uint64_t fPendingTick = 0; // its zQueue ticket; 0 when none is queued
    int64_t fNextTick = 0;     // when it is due

    // The run's state, reset by Start. The parts of the frame changed since
    // the last delivered one was read (the whole after a move); those
    // changed after the read of the frame being delivered wait in
    // fDirtyAfterRead; fHanded is what the handler is given.
    DirtyRects fDirty;
    DirtyRects fDirtyAfterRead;
    DirtyRects fHanded;
    bool fArrangementChanged = false;
    bool fDelivered = false; // a frame went out this run
    bool fIdleSent = false;
    int64_t fLastRead = 0;     // when the screen was last read
    int64_t fLastArranged = 0; // when the arrangement was last read
    SurfaceRef fLastFrame;     // the last frame delivered, kept unchanged
    std::vector<X11Monitor> fMonitors; // reused by each look at the arrangement
};

} // namespace qcp::platform::x11
