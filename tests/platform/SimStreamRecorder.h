#pragma once
#include <mutex>
#include <optional>
#include <vector>

#include "DisplayStream.h"
#include "SimStamp.h"
#include "zQueue.h"

// Collects what a display stream delivers on its queue; Take() waits for the
// queue to run everything posted so far, so no test waits on time.
class SimStreamRecorder {
public:
    struct Delivery {
        qcp::platform::FrameStatus status;
        uint64_t displayTime = 0;
        qcp::platform::SurfaceRef surface; // Complete frames, kept when asked
        std::optional<qcp::platform::sim::Stamp> stamp;
        uint32_t width = 0, height = 0;
    };

    explicit SimStreamRecorder(bool keepSurfaces = false) : fKeep(keepSurfaces) {}

    zQueue& queue() { return fQueue; }

    qcp::platform::FrameHandler Handler() {
        return [this](qcp::platform::FrameStatus status, uint64_t time, qcp::platform::Surface* surface) {
            Delivery delivery{status, time, {}, {}, 0, 0};
            if (surface) {
                delivery.stamp = qcp::platform::sim::ReadStamp(*surface);
                delivery.width = surface->width();
                delivery.height = surface->height();
                if (fKeep) delivery.surface = qcp::platform::SurfaceRef::Retain(surface);
            }
            std::lock_guard lock(fMutex);
            fDeliveries.push_back(std::move(delivery));
        };
    }

    std::vector<Delivery> Take() {
        fQueue.Sync([] {});
        std::lock_guard lock(fMutex);
        return std::exchange(fDeliveries, {});
    }

private:
    const bool fKeep;
    std::mutex fMutex;
    std::vector<Delivery> fDeliveries;
    zQueue fQueue{"test stream queue"};
};
