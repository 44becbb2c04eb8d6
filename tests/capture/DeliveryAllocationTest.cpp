// Delivering a frame to the host allocates nothing: the record is filled in
// place and the surface's id travels by address.
#include <atomic>
#include <cstdlib>
#include <new>

#include "CaptureFixture.h"
#include "MacCaptureSourceSDKInfo.h"
#include "zQueue.h"

namespace {
thread_local bool tCounting = false;
std::atomic<int> gAllocations{0};

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

void* operator new(size_t size) {
    if (tCounting) ++gAllocations;
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }

TEST_F(CaptureTest, FrameDeliveryToTheHostAllocatesNothing) {
    auto surface = qcp::platform::SurfaceRef::Adopt(
        qcp::platform::Surface::Create(qcp::platform::SurfaceProperties::Packed(1920, 1080)));
    MC::MacCaptureSourceSDKInfo record(std::make_unique<MC::MacCaptureSource>("s", "name"));
    Seen seen;
    record.videoCallback = &Arrived;
    record.videoContext = &seen;

    tCounting = true;
    record.receivedScreenFrame(1920, 1080, 123456, surface.get());
    tCounting = false;

    EXPECT_EQ(gAllocations.load(), 0);
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
    for (int i = 0; i < 64; ++i) post(); // the ring grows to its working size
    queue.Sync([] {});

    tCounting = true;
    for (int i = 0; i < 32; ++i) post();
    tCounting = false;
    queue.Sync([] {});

    EXPECT_EQ(gAllocations.load(), 0);
    EXPECT_EQ(ran.load(), 96);
}
