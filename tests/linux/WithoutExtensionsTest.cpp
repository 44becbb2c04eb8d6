// The same desktop on a server without Composite and MIT-SHM, as remote or
// restricted servers are: pictures and frames are read off the screen with
// plain requests.
#include <gtest/gtest.h>

#include "StreamRecorder.h"
#include "TestDesktop.h"

using namespace qcp::platform;

namespace {

class WithoutExtensionsTest : public LinuxDesktopTest {
public:
    static void SetUpTestSuite() { StartSession({"-extension", "Composite", "-extension", "MIT-SHM"}); }

protected:
    std::unique_ptr<DisplayStream> Make(uint32_t width, uint32_t height, std::optional<Rect> sourceRect) {
        DisplayStreamConfig config;
        config.displayID = platform->screens().list().at(0).displayID;
        config.outputWidth = width;
        config.outputHeight = height;
        config.sourceRect = sourceRect;
        config.queue = &recorder.queue();
        config.handler = recorder.Handler();
        return platform->createDisplayStream(std::move(config));
    }
    int WaitForPixel(int x, int y, uint32_t rgb) {
        return recorder.WaitFor(0, [&](const StreamRecorder::Delivery& d) {
            if (d.status != FrameStatus::Complete) return false;
            SurfaceLock lock(*d.surface);
            return PixelAt(d.surface->baseAddress(), d.surface->bytesPerRow(), x, y) == Opaque(rgb);
        });
    }

    StreamRecorder recorder;
};

} // namespace

TEST_F(WithoutExtensionsTest, AVisibleWindowIsPicturedFromTheScreen) {
    const Window window = desktop->Open(TestDesktop::Titled("Plain"), 0xFF8000, 200, 200, 300, 200);
    ASSERT_NE(window, None);
    const ImageRef image = platform->windowServer().windowImage(uint32_t(window));
    ASSERT_TRUE(image);
    const TestDesktop::Area frame = desktop->FrameArea(window);
    const TestDesktop::Area client = desktop->ClientArea(window);
    ASSERT_EQ(image->width(), uint32_t(frame.width));
    ASSERT_EQ(image->height(), uint32_t(frame.height));
    EXPECT_EQ(PixelAt(image->pixels(), image->bytesPerRow(), client.x - frame.x + 150, client.y - frame.y + 100),
              Opaque(0xFF8000));
}

TEST_F(WithoutExtensionsTest, StreamsReadTheScreenWithPlainRequests) {
    const Window window = desktop->Open(TestDesktop::Titled("Plain"), 0x8000FF, 200, 200, 300, 200);
    ASSERT_NE(window, None);
    const TestDesktop::Area client = desktop->ClientArea(window);
    auto whole = Make(1920, 1080, std::nullopt);
    ASSERT_TRUE(whole && whole->Start());
    EXPECT_GE(WaitForPixel(client.x + 150, client.y + 100, 0x8000FF), 0);
    whole.reset();

    auto scaled = Make(100, 50, Rect{double(client.x), double(client.y), 300, 150});
    ASSERT_TRUE(scaled && scaled->Start());
    EXPECT_GE(WaitForPixel(99, 49, 0x8000FF), 0);
}
