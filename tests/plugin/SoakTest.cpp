// Thousands of sources made and removed from two host threads while faults
// come and go, on a clock that runs ten times faster than real time (feed
// loops, monitor polls and display refreshes all follow it). Afterwards the
// process holds as many threads and file descriptors as before, and the heap
// no more than a little slack.
#include <malloc.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <random>
#include <thread>

#include "ManualClock.h"
#include "PluginFixture.h"

using namespace std::chrono_literals;

namespace {

size_t ThreadCount() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.rfind("Threads:", 0) == 0) return std::stoul(line.substr(8));
    return 0;
}

size_t OpenFileCount() {
    return size_t(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}

// Bytes the allocator has handed out; 0 where a sanitizer's allocator
// stands in for it (which checks leaks itself).
size_t HeapInUse() { return mallinfo2().uordblks; }

struct Usage {
    size_t threads, files, heap;
};
Usage Measure() { return {ThreadCount(), OpenFileCount(), HeapInUse()}; }

class SoakTest : public PluginTest {
protected:
    void SetUp() override {
        fPump = std::thread([this] {
            while (!fStop) {
                fClock.Advance(10'000);
                std::this_thread::sleep_for(1ms);
            }
        });
        PluginTest::SetUp();
        // Small displays: what is soaked is the plug-in's bookkeeping, not
        // the painting of frames.
        world().ReconfigureScreen(kMainDisplay, {0, 0, 320, 240});
        world().ReconfigureScreen(kSecondDisplay, kSide);
        world().AddProcess(4500, "Racer");
        fWindow = world().OpenWindow(4500, "Racer", {20, 10, 160, 120});
    }
    void TearDown() override {
        PluginTest::TearDown();
        fStop = true;
        fPump.join();
    }

    void Cycles(int seed, int count) {
        std::mt19937 random(seed);
        static const char* kKinds[] = {
            "<settings><parameter name=\"Type\" value=\"0\"/><parameter name=\"cursor\" value=\"true\"/></settings>",
            "<settings><parameter name=\"Type\" value=\"0\"/><parameter name=\"capture_monitor_region\" "
            "value=\"0,0,99,99\"/><parameter name=\"capture_monitor_state\" value=\"1\"/></settings>",
            "<settings><parameter name=\"Type\" value=\"1\"/><parameter name=\"capture_window\" value=\"Racer\"/>"
            "<parameter name=\"capture_app\" value=\"Racer\"/></settings>",
            "<settings><parameter name=\"Type\" value=\"2\"/><parameter name=\"capture_window\" value=\"Racer\"/>"
            "<parameter name=\"capture_app\" value=\"Racer\"/></settings>",
        };
        for (int cycle = 0; cycle < count; ++cycle) {
            const std::string id = "soak-" + std::to_string(seed) + "-" + std::to_string(cycle);
            QCP_CreateNamedSource(QCP_SCREEN_DEVICE_ID, id.c_str());
            QCP_RegisterVideoDataArrivedCallback(QCP_SCREEN_DEVICE_ID, id.c_str(), [](void*, QCP_VideoBuffer*) {},
                                                 this);
            SetSettings(id, kKinds[random() % 4]);
            QCP_RemoveSource(QCP_SCREEN_DEVICE_ID, id.c_str());
        }
    }

    // Every fault switch of the desktop, flipped in turn.
    void Faults(int round) {
        using Fault = qcp::platform::sim::SimWorld::WindowImageFault;
        world().SetStreamsStalled(round % 3 == 0);
        world().SetWindowImageFault(round % 4 == 1 ? Fault::Missing : Fault::None);
        world().SetDisplayAsleep(kMainDisplay, round % 5 == 2);
        if (round % 7 == 3) {
            world().RemoveScreen(kSecondDisplay);
            world().AddScreen({kSecondDisplay, kSide, 1.0, "Side", 60});
        }
        if (round % 6 == 4) fWindow = world().ReopenWindow(fWindow);
        world().TouchDisplay(kMainDisplay);
    }

    static constexpr qcp::platform::Rect kSide{320, 0, 320, 240};
    ManualClock fClock;
    std::atomic<bool> fStop{false};
    std::thread fPump;
    uint32_t fWindow = 0;
};

} // namespace

TEST_F(SoakTest, ThousandsOfSourcesAndFaultsLeaveThreadsFilesAndMemoryFlat) {
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
    // Under a sanitizer every thread start costs milliseconds: fewer rounds
    // still race every path; the plain build runs the thousands.
    constexpr int kWarmUp = 20, kCycles = 150;
#else
    constexpr int kWarmUp = 20, kCycles = 2000;
#endif
    Cycles(0, kWarmUp); // lazily made state (queues, pools, caches) settles first
    const Usage before = Measure();

    std::atomic<bool> done{false};
    std::thread faults([&] {
        for (int round = 0; !done; ++round) {
            Faults(round);
            std::this_thread::sleep_for(2ms);
        }
    });
    std::thread other([&] { Cycles(1, kCycles); });
    Cycles(2, kCycles);
    other.join();
    done = true;
    faults.join();
    world().SetStreamsStalled(false);
    world().SetWindowImageFault(qcp::platform::sim::SimWorld::WindowImageFault::None);
    world().SetDisplayAsleep(kMainDisplay, false);

    const Usage after = Measure();
    EXPECT_EQ(after.threads, before.threads);
    EXPECT_EQ(after.files, before.files);
    if (before.heap != 0) {
        EXPECT_LT(after.heap, before.heap + 512 * 1024) << "heap grew by " << int64_t(after.heap - before.heap);
    }
    EXPECT_EQ(QCP_GetSourceCount(QCP_SCREEN_DEVICE_ID), 0u);
}
