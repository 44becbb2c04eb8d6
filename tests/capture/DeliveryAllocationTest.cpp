// Delivering a frame to the host allocates nothing: the record is filled in
// place and the surface's id travels by address.
#include <atomic>
#include <mutex>

#include "AllocationCounter.h"
#include "CaptureFixture.h"
#include "MacCaptureSourceSDKInfo.h"
#include "zQueue.h"

namespace {

struct Seen {
    QCP_VideoBuffer buffer{};
    uint32_t id = 0;
    int calls = 0;
};
void Arrived(void* context, QCP_VideoBuffer* frame) {
    auto* seen = static_cast<Seen*>(context);
    seen->buffer = *frame;
    seen->id = *frame->surfaceId;
    ++seen->calls;
}
} // namespace

TEST_F(CaptureTest, FrameDeliveryToTheHostAllocatesNothing) {
    auto surface = qcp::platform::SurfaceRef::Adopt(
        qcp::platform::Surface::Create(qcp::platform::SurfaceProperties::Packed(1920, 1080)));
    MC::MacCaptureSourceSDKInfo record(std::make_unique<MC::MacCaptureSource>("s", "name"));
    Seen seen;
    record.videoCallback = &Arrived;
    record.videoContext = &seen;

    int allocations = 0;
    {
        const AllocationCounter counter;
        record.receivedScreenFrame(1920, 1080, 123456, surface.get());
        allocations = counter.count();
    }
    EXPECT_EQ(allocations, 0);
    ASSERT_EQ(seen.calls, 1);
    EXPECT_EQ(seen.buffer.format, 0x696F7372u);
    EXPECT_EQ(seen.buffer.width, 1920u);
    EXPECT_EQ(seen.buffer.height, 1080u);
    EXPECT_EQ(seen.buffer.bytesPerRow, 7680u);
    EXPECT_EQ(seen.buffer.elementAspect, 1.0f);
    EXPECT_EQ(seen.buffer.timeStamp, 123456u);
    EXPECT_EQ(seen.buffer.one, 1u);
    EXPECT_EQ(seen.id, surface->id());
}

TEST(FramePosting, AWarmQueueTakesWorkWithoutAllocating) {
    zQueue queue("posting");
    std::atomic<int> ran{0};
    auto post = [&] { queue.Async([&ran] { ++ran; }); };
    // The worker waits at the gate while 64 pile up, so the ring grows to
    // hold them whatever the threads' timing.
    std::mutex gate;
    {
        const std::unique_lock held(gate);
        queue.Async([&gate] { const std::lock_guard pass(gate); });
        for (int i = 0; i < 64; ++i) post();
    }
    queue.Sync([] {});

    int allocations = 0;
    {
        const AllocationCounter counter;
        for (int i = 0; i < 32; ++i) post();
        allocations = counter.count();
    }
    queue.Sync([] {});

    EXPECT_EQ(allocations, 0);
    EXPECT_EQ(ran.load(), 96);
}
