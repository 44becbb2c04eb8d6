#include "X11DisplayCapture.h"

#include <X11/extensions/Xrandr.h>

#include <cstring>

#include "X11ErrorTrap.h"
#include "zQueue.h"
#include "zTime.h"
#include "zTraceManager.h"

namespace qcp::platform::x11 {
namespace {
// How often the screen is read without a damage report.
constexpr int64_t kFullRefreshMicros = 1'000'000;
constexpr uint32_t kTraceNote = 0x6E6F7465; // 'note'

int64_t PeriodFor(double refreshRate) { return int64_t(1e6 / (refreshRate > 0 ? refreshRate : 60)); }

// Events read before a frame is taken all come before its read.
constexpr unsigned long kNoRead = ~0UL;

const DirtyRects kNothing;
} // namespace

X11DisplayCapture* X11DisplayCapture::Create(std::unique_ptr<X11Connection> connection, DisplayStreamConfig config,
                                             double refreshRate) {
    Display* display = connection->display();
    std::string why;
    if (!X11FrameGrabber::Supported(display, why)) {
        zTraceManager::Default().TraceMessage(kTraceNote, "display stream: " + why);
        return nullptr;
    }
    int damageEventBase = -1, errorBase = 0, major = 0, minor = 0;
    if (!XDamageQueryExtension(display, &damageEventBase, &errorBase) || !XDamageQueryVersion(display, &major, &minor))
        damageEventBase = -1;
    int randrEventBase = -1;
    if (!XRRQueryExtension(display, &randrEventBase, &errorBase)) randrEventBase = -1;
    auto* capture =
        new X11DisplayCapture(std::move(connection), std::move(config), refreshRate, damageEventBase, randrEventBase);
    bool attached = false;
    {
        X11ErrorTrap trap(display);
        attached = capture->Reaim() != Aim::Gone;
    }
    if (attached) return capture;
    capture->Release();
    return nullptr;
}

X11DisplayCapture::X11DisplayCapture(std::unique_ptr<X11Connection> connection, DisplayStreamConfig config,
                                     double refreshRate, int damageEventBase, int randrEventBase)
    : fConnection(std::move(connection)), fConfig(std::move(config)), fQueue(*fConfig.queue),
      fPeriodMicros(PeriodFor(refreshRate)), fDamageEventBase(damageEventBase), fRandrEventBase(randrEventBase),
      fGrabber(*fConnection, fConfig.outputWidth, fConfig.outputHeight, fConfig.pixelFormat, fConfig.sourceRect) {
    Display* display = fConnection->display();
    X11ErrorTrap trap(display);
    // Every change reported as it happens: a bounding box that grows until
    // cleared cannot tell whether a change came before or after a frame's
    // read, so a change after it could go unreported.
    if (fDamageEventBase >= 0) fDamage = XDamageCreate(display, fConnection->root(), XDamageReportRawRectangles);
    if (fRandrEventBase >= 0)
        XRRSelectInput(display, fConnection->root(),
                       RRScreenChangeNotifyMask | RRCrtcChangeNotifyMask | RROutputChangeNotifyMask);
}

X11DisplayCapture::~X11DisplayCapture() {
    X11ErrorTrap trap(fConnection->display());
    if (fDamage != None && fConnection->usable()) XDamageDestroy(fConnection->display(), fDamage);
}

std::unique_lock<std::mutex> X11DisplayCapture::TakeTurn() {
    // On the queue's thread nothing else of this capture can be running:
    // the caller is the handler, inside a call that holds the turn.
    if (fQueue.IsCurrent()) return {};
    return std::unique_lock(fTurn);
}

bool X11DisplayCapture::Start() {
    const std::unique_lock turn = TakeTurn();
    if (fRunning) return true;
    if (fClosed || !fConnection->usable()) return false;
    {
        X11ErrorTrap trap(fConnection->display());
        ReadEvents(kNoRead); // what happened while stopped is of no interest now
        if (Reaim() == Aim::Gone || !fConnection->usable()) return false;
    }
    fArrangementChanged = fDelivered = fIdleSent = false;
    fDirty.Clear();
    fDirtyAfterRead.Clear();
    fLastRead = 0;
    fLastFrame.reset();
    ++fRun;
    fRunning = true;
    fLastArranged = fNextTick = zTime::MicroNow();
    QueueTick(fNextTick);
    return true;
}

bool X11DisplayCapture::Stop() {
    const std::unique_lock turn = TakeTurn();
    if (!fRunning) return false; // never started, stopped, or ended by the monitor's going away
    EndRun();
    Retain();
    fQueue.Async([this, time = uint64_t(zTime::MicroNow())] { OnStopped(time); });
    return true;
}

void X11DisplayCapture::Close() {
    const std::unique_lock turn = TakeTurn();
    fClosed = true;
    if (fRunning) EndRun();
}

void X11DisplayCapture::EndRun() {
    fRunning = false;
    // A tick already due runs, finds its run over, and lets go of its reference.
    if (fPendingTick != 0 && fQueue.Cancel(fPendingTick)) Release();
    fPendingTick = 0;
}

void X11DisplayCapture::ScheduleTick() {
    fNextTick += fPeriodMicros;
    const int64_t now = zTime::MicroNow();
    if (now > fNextTick) fNextTick = now + fPeriodMicros;
    QueueTick(now);
}

void X11DisplayCapture::QueueTick(int64_t now) {
    Retain();
    // Small enough for the queue's work to hold in place: no allocation.
    fPendingTick = fQueue.After(fNextTick - now, [this, run = fRun] { OnTick(run); });
}

void X11DisplayCapture::OnTick(uint64_t run) {
    {
        const std::lock_guard turn(fTurn);
        if (Live(run)) {
            fPendingTick = 0;
            Tick(zTime::MicroNow());
            // The handler may have stopped, restarted or closed the stream.
            if (Live(run)) ScheduleTick();
        }
    }
    Release();
}

void X11DisplayCapture::OnStopped(uint64_t displayTime) {
    {
        const std::lock_guard turn(fTurn);
        if (!fClosed) fConfig.handler(FrameStatus::Stopped, displayTime, nullptr, kNothing);
    }
    Release();
}

// Every handler call is the last thing its path does: the handler may stop,
// restart or close the stream, after which this run's state is not ours.
// None is made under the error trap, which is the capture's own business.
void X11DisplayCapture::Tick(int64_t now) {
    Surface* frame = nullptr;
    switch (Look(now, frame)) {
    case Step::Wait: return;
    case Step::Idle:
        if (!fIdleSent) SendIdle(now);
        return;
    case Step::Frame: return Deliver(*frame, now);
    case Step::End: return End(now);
    }
}

X11DisplayCapture::Step X11DisplayCapture::Look(int64_t now, Surface*& frame) {
    // The server went away, or came back anew: this connection is done.
    if (!fConnection->usable()) return Step::End;
    X11ErrorTrap trap(fConnection->display());
    ReadEvents(kNoRead);
    if (!fConnection->usable()) return Step::End;
    if (fArrangementChanged || now - fLastArranged >= X11Monitors::kUnreportedChangeMicros) {
        fArrangementChanged = false;
        fLastArranged = now;
        switch (Reaim()) {
        case Aim::Gone: return Step::End; // unplugged: the run ends as it ends on macOS
        case Aim::Moved: fDirty = WholeFrame(); break;
        case Aim::Same: break;
        }
    }
    const bool unreported = fDamage == None || now - fLastRead >= kFullRefreshMicros;
    if (fDelivered && fDirty.empty() && !unreported) return Step::Idle;
    Surface* surface = fGrabber.FreeSurface();
    if (!surface || !fGrabber.Grab(*surface)) return Step::Wait; // tried again at the next refresh
    if (!fConnection->usable()) return Step::End; // what was read is not the screen
    fLastRead = now;
    // The changes the server made before the read are in this frame; those
    // after it are left for the next.
    ReadEvents(fGrabber.readSerial());
    frame = surface;
    return Step::Frame;
}

void X11DisplayCapture::Deliver(Surface& surface, int64_t now) {
    if (!fDelivered || fDamage == None) fHanded = WholeFrame();
    else if (!fDirty.empty()) fHanded = fDirty;
    else if (SameAsLastFrame(surface)) fHanded.Clear(); // read without a report, and nothing differs
    else fHanded = WholeFrame();
    fDirty = fDirtyAfterRead;
    fDirtyAfterRead.Clear();
    if (fHanded.empty()) {
        if (!fIdleSent) SendIdle(now);
        return;
    }
    fLastFrame = SurfaceRef::Retain(&surface);
    fDelivered = true;
    fIdleSent = false;
    fConfig.handler(FrameStatus::Complete, uint64_t(now), &surface, fHanded);
}

void X11DisplayCapture::SendIdle(int64_t now) {
    fIdleSent = true;
    fConfig.handler(FrameStatus::Idle, uint64_t(now), nullptr, kNothing);
}

DirtyRects X11DisplayCapture::WholeFrame() const {
    return DirtyRects::Whole(fConfig.outputWidth, fConfig.outputHeight);
}

void X11DisplayCapture::AddDamage(const XRectangle& area, unsigned long serial, unsigned long readSerial) {
    const Rect read{double(fGrabber.readLeft()), double(fGrabber.readTop()), double(fGrabber.readWidth()),
                    double(fGrabber.readHeight())};
    const Rect changed = read.Intersection({double(area.x), double(area.y), double(area.width), double(area.height)});
    if (changed.width <= 0) return;
    DirtyRects& dirty = serial < readSerial ? fDirty : fDirtyAfterRead;
    if (fGrabber.unscaled()) dirty.Add({changed.x - read.x, changed.y - read.y, changed.width, changed.height});
    else dirty = WholeFrame();
}

void X11DisplayCapture::End(int64_t now) {
    EndRun();
    fConfig.handler(FrameStatus::Stopped, uint64_t(now), nullptr, kNothing);
}

void X11DisplayCapture::ReadEvents(unsigned long readSerial) {
    Display* display = fConnection->display();
    bool damaged = false;
    // The socket is read once; asking it again after each event would cost
    // a system call per change. Later events wait for the next reading. After
    // a read, whose answer brought every event sent before it into the
    // queue, not even once: what came after the read can wait.
    const int first = readSerial == kNoRead ? XPending(display) : XEventsQueued(display, QueuedAlready);
    for (int queued = first; queued > 0; queued = XEventsQueued(display, QueuedAlready)) {
        XEvent event;
        XNextEvent(display, &event);
        if (fDamageEventBase >= 0 && event.type == fDamageEventBase + XDamageNotify) {
            damaged = true;
            AddDamage(reinterpret_cast<const XDamageNotifyEvent&>(event).area, event.xany.serial, readSerial);
        } else if (fRandrEventBase >= 0 &&
                   (event.type == fRandrEventBase + RRScreenChangeNotify || event.type == fRandrEventBase + RRNotify)) {
            XRRUpdateConfiguration(&event);
            fArrangementChanged = true;
        }
    }
    // Every change is reported whatever the server keeps, but what it keeps
    // grows with each one until cleared.
    if (damaged) XDamageSubtract(display, fDamage, None, None);
}

X11DisplayCapture::Aim X11DisplayCapture::Reaim() {
    Display* display = fConnection->display();
    X11Monitors::Read(display, fConnection->root(), fMonitors);
    for (const X11Monitor& monitor : fMonitors) {
        if (monitor.displayID != fConfig.displayID) continue;
        XWindowAttributes root{};
        if (!XGetWindowAttributes(display, fConnection->root(), &root)) return Aim::Gone;
        return fGrabber.Aim(monitor, root.width, root.height) ? Aim::Moved : Aim::Same;
    }
    return Aim::Gone;
}

bool X11DisplayCapture::SameAsLastFrame(const Surface& frame) const {
    if (!fLastFrame) return false;
    SurfacePairLock locks(*fLastFrame, frame);
    return std::memcmp(fLastFrame->baseAddress(), frame.baseAddress(), frame.allocSize()) == 0;
}

} // namespace qcp::platform::x11
