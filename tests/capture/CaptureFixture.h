#pragma once
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <vector>

#include "MacCaptureObserver.h"
#include "ManualClock.h"
#include "MacCaptureSource.h"
#include "SimPlatform.h"
#include "SimStamp.h"

// What an observer saw of one frame.
struct SeenFrame {
    int width = 0;
    int height = 0;
    unsigned long long time = 0;
    uint32_t surfaceWidth = 0;
    uint32_t surfaceHeight = 0;
    uint32_t surfaceID = 0;
    std::optional<qcp::platform::sim::Stamp> stamp;
    std::vector<uint8_t> pixels; // copied only when asked
};

// Records frames as they arrive, from any thread.
class RecordingObserver final : public MC::MacCaptureObserver {
public:
    bool keepPixels = false;

    void ProcessAudioData(void*, int) override {}
    void receivedScreenFrame(int width, int height, unsigned long long time,
                             qcp::platform::Surface* surface) override;

    // Waits (up to a generous limit, to avoid hanging) until `count` frames
    // matching `which` arrived; returns them all.
    std::vector<SeenFrame> WaitFor(size_t count, const std::function<bool(const SeenFrame&)>& which = nullptr);
    std::vector<SeenFrame> Frames() const;
    void Clear();

private:
    mutable std::mutex fMutex;
    std::condition_variable fArrived;
    std::vector<SeenFrame> fFrames;
};

// A simulated desktop with one 1920 x 1080 display (id 1) and an inventory.
class CaptureTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    qcp::platform::sim::SimWorld& world() { return *fWorld; }
    // Moves `clock` on a millisecond at a time until the display's stream has
    // delivered a frame (its thread reads the clock when it starts, so it
    // may take a few); false when none comes.
    bool FirstStreamFrame(ManualClock& clock);
    static constexpr uint32_t kDisplay = 1;

private:
    qcp::platform::sim::SimWorld* fWorld = nullptr;
};
