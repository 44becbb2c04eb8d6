#include "X11DisplayStream.h"

#include <X11/extensions/Xrandr.h>

#include <cstring>
#include <functional>

#include "X11ErrorTrap.h"
#include "X11Monitors.h"
#include "zThread.h"
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
} // namespace

std::unique_ptr<X11DisplayStream> X11DisplayStream::Create(std::unique_ptr<X11Connection> connection,
                                                           DisplayStreamConfig config, double refreshRate) {
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
    std::unique_ptr<X11DisplayStream> stream(
        new X11DisplayStream(std::move(connection), std::move(config), refreshRate, damageEventBase, randrEventBase));
    X11ErrorTrap trap(display);
    if (stream->Reaim() == Aim::Gone) return nullptr;
    return stream;
}

X11DisplayStream::X11DisplayStream(std::unique_ptr<X11Connection> connection, DisplayStreamConfig config,
                                   double refreshRate, int damageEventBase, int randrEventBase)
    : fConnection(std::move(connection)), fConfig(std::move(config)), fPeriodMicros(PeriodFor(refreshRate)),
      fDamageEventBase(damageEventBase), fRandrEventBase(randrEventBase),
      fGrabber(*fConnection, fConfig.outputWidth, fConfig.outputHeight, fConfig.pixelFormat,
               fConfig.sourceRect),
      fChannel(FrameChannel::Create(*fConfig.queue, fConfig.handler)) {
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

X11DisplayStream::~X11DisplayStream() {
    EndRun();
    fChannel->Close();
    fChannel->Release();
    X11ErrorTrap trap(fConnection->display());
    if (fDamage != None && fConnection->usable()) XDamageDestroy(fConnection->display(), fDamage);
}

bool X11DisplayStream::Start() {
    if (fThread.joinable() && !fEnded) return true;
    EndRun();
    if (!fConnection->usable()) return false;
    {
        X11ErrorTrap trap(fConnection->display());
        ReadEvents(kNoRead); // what happened while stopped is of no interest now
        if (Reaim() == Aim::Gone || !fConnection->usable()) return false;
    }
    fStopping = false;
    fEnded = false;
    fArrangementChanged = fDelivered = fIdleSent = false;
    fDirty.Clear();
    fDirtyAfterRead.Clear();
    fLastRead = 0;
    fLastArranged = zTime::MicroNow();
    fLastFrame.reset();
    fThread = std::thread([this] { Run(); });
    return true;
}

bool X11DisplayStream::Stop() {
    if (!fThread.joinable()) return false;
    const bool wasRunning = !fEnded;
    EndRun();
    if (!wasRunning) return false; // the monitor's going away ended the run already
    fChannel->Post(FrameStatus::Stopped, uint64_t(zTime::MicroNow()), {});
    return true;
}

void X11DisplayStream::EndRun() {
    if (!fThread.joinable()) return;
    {
        std::lock_guard lock(fMutex);
        fStopping = true;
    }
    fWake.notify_all();
    fThread.join();
}

void X11DisplayStream::Run() {
    zThread::NameCurrent("display stream");
    // Paced on the zTime clock like every wait, so a test's clock moves it.
    int64_t next = zTime::MicroNow();
    std::unique_lock lock(fMutex);
    for (;;) {
        if (zTime::WaitUntil(fWake, lock, next, [this] { return fStopping; })) return;
        lock.unlock();
        Tick(zTime::MicroNow());
        lock.lock();
        if (fEnded) return;
        next += fPeriodMicros;
        // After a long stall, go on from now rather than catching up.
        if (const int64_t now = zTime::MicroNow(); now > next) next = now + fPeriodMicros;
    }
}

void X11DisplayStream::Tick(int64_t now) {
    // The server went away, or came back anew: this connection is done.
    if (!fConnection->usable()) return End(now);
    X11ErrorTrap trap(fConnection->display());
    ReadEvents(kNoRead);
    if (!fConnection->usable()) return End(now);
    if (fArrangementChanged || now - fLastArranged >= X11Monitors::kUnreportedChangeMicros) {
        fArrangementChanged = false;
        fLastArranged = now;
        switch (Reaim()) {
        case Aim::Gone: return End(now); // unplugged: the run ends as it ends on macOS
        case Aim::Moved: fDirty = WholeFrame(); break;
        case Aim::Same: break;
        }
    }
    const bool unreported = fDamage == None || now - fLastRead >= kFullRefreshMicros;
    if (fDelivered && fDirty.empty() && !unreported) {
        if (!fIdleSent) fIdleSent = fChannel->Post(FrameStatus::Idle, uint64_t(now), {});
        return;
    }
    Surface* surface = fGrabber.FreeSurface();
    if (!surface || !fGrabber.Grab(*surface)) return; // tried again at the next refresh
    if (!fConnection->usable()) return End(now); // what was read is not the screen
    fLastRead = now;
    // The changes the server made before the read are in this frame; those
    // after it are left for the next.
    ReadEvents(fGrabber.readSerial());
    if (!Deliver(*surface, now)) fDirty.Add(fDirtyAfterRead);
    else fDirty = fDirtyAfterRead;
    fDirtyAfterRead.Clear();
}

bool X11DisplayStream::Deliver(Surface& surface, int64_t now) {
    if (!fDelivered || fDamage == None) {
        fDirty = WholeFrame();
    } else if (fDirty.empty()) {
        // Read without a report: delivered only if it differs, somewhere.
        if (SameAsLastFrame(surface)) {
            if (!fIdleSent) fIdleSent = fChannel->Post(FrameStatus::Idle, uint64_t(now), {});
            return true;
        }
        fDirty = WholeFrame();
    }
    SurfaceRef frame = SurfaceRef::Retain(&surface);
    if (!fChannel->Post(FrameStatus::Complete, uint64_t(now), frame, fDirty)) return false;
    fLastFrame = std::move(frame);
    fDelivered = true;
    fIdleSent = false;
    return true;
}

DirtyRects X11DisplayStream::WholeFrame() const {
    return DirtyRects::Whole(fConfig.outputWidth, fConfig.outputHeight);
}

void X11DisplayStream::AddDamage(const XRectangle& area, unsigned long serial, unsigned long readSerial) {
    const Rect read{double(fGrabber.readLeft()), double(fGrabber.readTop()), double(fGrabber.readWidth()),
                    double(fGrabber.readHeight())};
    const Rect changed = read.Intersection({double(area.x), double(area.y), double(area.width), double(area.height)});
    if (changed.width <= 0) return;
    DirtyRects& dirty = serial < readSerial ? fDirty : fDirtyAfterRead;
    if (fGrabber.unscaled()) dirty.Add({changed.x - read.x, changed.y - read.y, changed.width, changed.height});
    else dirty = WholeFrame();
}

void X11DisplayStream::End(int64_t now) {
    fEnded = true;
    fChannel->Post(FrameStatus::Stopped, uint64_t(now), {});
}

void X11DisplayStream::ReadEvents(unsigned long readSerial) {
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

X11DisplayStream::Aim X11DisplayStream::Reaim() {
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

bool X11DisplayStream::SameAsLastFrame(const Surface& frame) const {
    if (!fLastFrame) return false;
    SurfacePairLock locks(*fLastFrame, frame);
    return std::memcmp(fLastFrame->baseAddress(), frame.baseAddress(), frame.allocSize()) == 0;
}

} // namespace qcp::platform::x11
