#pragma once
#include <condition_variable>
#include <functional>
#include <mutex>
#include <vector>

#include "DisplayStream.h"
#include "zQueue.h"

// Collects what a display stream delivers on its queue and lets a test wait,
// with a time limit, until some delivery has arrived.
class StreamRecorder {
public:
    struct Delivery {
        qcp::platform::FrameStatus status;
        uint64_t displayTime = 0;
        qcp::platform::SurfaceRef surface; // Complete frames
        qcp::platform::DirtyRects dirty;
        bool onQueue = false;              // the handler ran on the stream's queue
    };

    zQueue& queue() { return fQueue; }

    qcp::platform::FrameHandler Handler() {
        return [this](qcp::platform::FrameStatus status, uint64_t time, qcp::platform::Surface* surface,
                      const qcp::platform::DirtyRects& dirty) {
            Delivery delivery{status, time, qcp::platform::SurfaceRef::Retain(surface), dirty, fQueue.IsCurrent()};
            std::lock_guard lock(fMutex);
            fDeliveries.push_back(std::move(delivery));
            fArrived.notify_all();
        };
    }

    // Waits up to ten seconds for a delivery after the first `from` that
    // satisfies `wanted`, and returns its index; -1 when none came.
    int WaitFor(size_t from, const std::function<bool(const Delivery&)>& wanted) {
        std::unique_lock lock(fMutex);
        int found = -1;
        fArrived.wait_for(lock, std::chrono::seconds(10), [&] {
            for (size_t i = from; i < fDeliveries.size(); ++i)
                if (wanted(fDeliveries[i])) {
                    found = int(i);
                    return true;
                }
            return false;
        });
        return found;
    }
    int WaitFor(size_t from, qcp::platform::FrameStatus status) {
        return WaitFor(from, [status](const Delivery& d) { return d.status == status; });
    }

    std::vector<Delivery> Deliveries() {
        fQueue.Sync([] {});
        std::lock_guard lock(fMutex);
        return fDeliveries;
    }

private:
    std::mutex fMutex;
    std::condition_variable fArrived;
    std::vector<Delivery> fDeliveries;
    zQueue fQueue{"test stream queue"};
};
