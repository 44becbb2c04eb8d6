// The macOS platform on the Mac that runs it: what the seams promise,
// checked against the real desktop. Built and run on Apple systems only;
// elsewhere it is syntax-checked with the platform's sources.
#include <gtest/gtest.h>

#include <IOSurface/IOSurface.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

#include "CpuCompositor.h"
#include "MacFactory.h"
#include "StreamRecorder.h"
#include "WaitFor.h"

using namespace qcp::platform;
using namespace std::chrono_literals;

namespace {
class MacPlatformTest : public ::testing::Test {
protected:
    const std::unique_ptr<Platform> platform = mac::MakePlatform();
};
} // namespace

TEST_F(MacPlatformTest, TheMainScreenLeadsAtTheOriginAndTheMouseIsOnAScreen) {
    const std::vector<ScreenInfo> screens = platform->screens().list();
    ASSERT_FALSE(screens.empty());
    EXPECT_EQ(screens[0].frame.x, 0);
    EXPECT_EQ(screens[0].frame.y, 0);
    for (const ScreenInfo& screen : screens) {
        EXPECT_NE(screen.displayID, 0u);
        EXPECT_GE(screen.backingScale, 1.0);
    }
    const Point mouse = platform->cursor().mouseLocation();
    EXPECT_TRUE(std::any_of(screens.begin(), screens.end(), [&](const ScreenInfo& s) {
        return mouse.x >= s.frame.x && mouse.x <= s.frame.MaxX() && mouse.y >= s.frame.y && mouse.y <= s.frame.MaxY();
    }));
}

TEST_F(MacPlatformTest, ADisplayLinkTicksUntilStoppedAndNeverAfter) {
    std::atomic<int> ticks = 0;
    EXPECT_FALSE(platform->createDisplayLink(0x7FFF, [](int64_t) {})); // no such display
    auto link = platform->createDisplayLink(platform->screens().list().at(0).displayID, [&](int64_t) { ++ticks; });
    ASSERT_TRUE(link);
    ASSERT_TRUE(link->Start());
    EXPECT_TRUE(link->Start());
    ASSERT_TRUE(WaitFor([&] { return ticks >= 3; }, 10s));
    link->Stop();
    EXPECT_FALSE(link->IsRunning());
    const int stopped = ticks;
    std::this_thread::sleep_for(100ms); // several refreshes: none may call back
    EXPECT_EQ(ticks, stopped);
}

TEST_F(MacPlatformTest, SurfacesAndStreamFramesAreIOSurfacesFoundByTheirIds) {
    SurfaceRef made = SurfaceRef::Adopt(platform->createSurface(SurfaceProperties::Packed(64, 32)));
    ASSERT_TRUE(made);
    IOSurfaceRef found = IOSurfaceLookup(made->id());
    ASSERT_TRUE(found);
    EXPECT_EQ(IOSurfaceGetWidth(found), 64u);
    CFRelease(found);

    StreamRecorder recorder;
    DisplayStreamConfig config;
    config.displayID = platform->screens().list().at(0).displayID;
    config.outputWidth = 640;
    config.outputHeight = 360;
    config.queue = &recorder.queue();
    config.handler = recorder.Handler();
    std::unique_ptr<DisplayStream> stream = platform->createDisplayStream(std::move(config));
    ASSERT_TRUE(stream);
    ASSERT_TRUE(stream->Start());
    const int complete =
        recorder.WaitFor(0, [](const StreamRecorder::Delivery& d) { return d.status == FrameStatus::Complete; });
    ASSERT_GE(complete, 0);
    const StreamRecorder::Delivery frame = recorder.Deliveries().at(size_t(complete));
    EXPECT_TRUE(frame.onQueue);
    IOSurfaceRef shared = IOSurfaceLookup(frame.surface->id());
    ASSERT_TRUE(shared) << "a host finds the frame by its id";
    EXPECT_EQ(IOSurfaceGetWidth(shared), 640u);
    CFRelease(shared);
    ASSERT_TRUE(stream->Stop());
    EXPECT_GE(recorder.WaitFor(0, [](const StreamRecorder::Delivery& d) { return d.status == FrameStatus::Stopped; }),
              0);
}

TEST_F(MacPlatformTest, AnUnknownWindowHasNoEntryAndNoPicture) {
    WindowServer& windows = platform->windowServer();
    EXPECT_FALSE(windows.window(0x7FFFFFFF));
    EXPECT_FALSE(windows.windowImage(0x7FFFFFFF));
    EXPECT_EQ(windows.ownPID(), int32_t(getpid()));
    for (const WindowInfo& info : windows.windowList(true)) EXPECT_TRUE(info.onScreen);
}

namespace {
// A surface of the platform's (an IOSurface) filled with a pattern.
SurfaceRef Patterned(Platform& platform, uint32_t seed) {
    SurfaceRef surface = SurfaceRef::Adopt(platform.createSurface(SurfaceProperties::Packed(97, 61)));
    if (!surface) return surface;
    SurfaceLock lock(*surface);
    for (uint32_t y = 0; y < 61; ++y)
        for (uint32_t x = 0; x < 97; ++x) {
            uint8_t* pixel = surface->baseAddress() + y * surface->bytesPerRow() + x * 4;
            const uint32_t value = (x * 2654435761u) ^ (y * 40503u) ^ seed;
            pixel[0] = uint8_t(value), pixel[1] = uint8_t(value >> 8), pixel[2] = uint8_t(value >> 16);
            pixel[3] = 255;
        }
    return surface;
}

bool SamePixels(Surface& a, Surface& b) {
    SurfacePairLock lock(a, b);
    for (uint32_t y = 0; y < a.height(); ++y)
        if (std::memcmp(a.baseAddress() + y * a.bytesPerRow(), b.baseAddress() + y * b.bytesPerRow(), a.width() * 4))
            return false;
    return true;
}
} // namespace

// The GPU compositor against the CPU one, the reference: copies and a
// half-transparent picture drawn at a fractional place, scaled.
TEST_F(MacPlatformTest, TheGPUCompositesAsTheCPUDoes) {
    CpuCompositor cpu;
    Compositor& gpu = platform->compositor();
    const SurfaceRef source = Patterned(*platform, 1);
    const SurfaceRef byGPU = Patterned(*platform, 2), byCPU = Patterned(*platform, 2);
    ASSERT_TRUE(source && byGPU && byCPU);
    gpu.copyArea(*source, *byGPU, {10, 7, 33, 20});
    cpu.copyArea(*source, *byCPU, {10, 7, 33, 20});
    EXPECT_TRUE(SamePixels(*byGPU, *byCPU)) << "copied area";

    std::vector<uint8_t> pixels(8 * 8 * 4);
    for (size_t i = 0; i < pixels.size(); i += 4) {
        pixels[i] = pixels[i + 1] = uint8_t(i % 64), pixels[i + 2] = 0;
        pixels[i + 3] = 128; // premultiplied: every colour at most the alpha
    }
    const Image picture(8, 8, 32, std::move(pixels));
    gpu.drawImage(*byGPU, picture, {20.4, 11.6, 16, 16});
    cpu.drawImage(*byCPU, picture, {20.4, 11.6, 16, 16});
    EXPECT_TRUE(SamePixels(*byGPU, *byCPU)) << "picture drawn source-over, scaled";

    gpu.copySurface(*source, *byGPU);
    cpu.copySurface(*source, *byCPU);
    EXPECT_TRUE(SamePixels(*byGPU, *byCPU)) << "whole copy";
}
