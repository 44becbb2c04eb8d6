#include "CaptureFixture.h"

#include <cstring>

#include "MacCaptureWindowManager.h"
#include "WaitFor.h"

using namespace std::chrono_literals;

void RecordingObserver::receivedScreenFrame(int width, int height, unsigned long long time,
                                            qcp::platform::Surface* surface) {
    SeenFrame frame;
    frame.width = width;
    frame.height = height;
    frame.time = time;
    if (surface) {
        frame.surfaceWidth = surface->width();
        frame.surfaceHeight = surface->height();
        frame.surfaceID = surface->id();
        frame.stamp = qcp::platform::sim::ReadStamp(*surface);
        if (keepPixels) {
            surface->Lock();
            frame.pixels.assign(surface->baseAddress(), surface->baseAddress() + surface->allocSize());
            surface->Unlock();
        }
    }
    std::lock_guard lock(fMutex);
    fFrames.push_back(std::move(frame));
    fArrived.notify_all();
}

std::vector<SeenFrame> RecordingObserver::WaitFor(size_t count, const std::function<bool(const SeenFrame&)>& which) {
    std::unique_lock lock(fMutex);
    fArrived.wait_for(lock, 10s, [&] {
        return size_t(std::count_if(fFrames.begin(), fFrames.end(),
                                    [&](const SeenFrame& f) { return !which || which(f); })) >= count;
    });
    return fFrames;
}

std::vector<SeenFrame> RecordingObserver::Frames() const {
    std::lock_guard lock(fMutex);
    return fFrames;
}

void RecordingObserver::Clear() {
    std::lock_guard lock(fMutex);
    fFrames.clear();
}

void CaptureTest::SetUp() {
    auto platform = qcp::platform::sim::MakePlatform();
    fWorld = &platform->world();
    fWorld->AddScreen({kDisplay, {0, 0, 1920, 1080}, 1.0, "Main", 60});
    qcp::platform::Install(std::move(platform));
    MC::MacCaptureWindowManager::initializeMacCaptureWindowMgr();
}

void CaptureTest::TearDown() { MC::MacCaptureWindowManager::shutdownMacCaptureWindowMgr(); }

bool CaptureTest::FirstStreamFrame(ManualClock& clock) {
    const auto delivered = [&] { return fWorld->Counters().framesDelivered > 0; };
    for (int step = 0; step < 1000 && !delivered(); ++step) {
        clock.Advance(1'000);
        WaitFor(delivered, 20ms);
    }
    return delivered();
}
