// The same desktop on a server without Composite, MIT-SHM and RandR, as
// remote or restricted servers are: pictures and frames are read off the
// screen with plain requests, and the root window is the one screen.
#include <gtest/gtest.h>

#include "StreamRecorder.h"
#include "TestDesktop.h"

using namespace qcp::platform;

namespace {

class WithoutExtensionsTest : public LinuxDesktopTest {
public:
    static void SetUpTestSuite() { StartSession({"-extension", "Composite", "-extension", "MIT-SHM", "-extension", "RANDR"}); }
};

} // namespace

TEST_F(WithoutExtensionsTest, WindowPicturesAndStreamsAreReadFromTheScreen) {
    const Window window = desktop->Open({"Plain"}, 0xFF8000, 200, 200, 300, 200);
    ASSERT_NE(window, None);
    const ImageRef image = platform->windowServer().windowImage(uint32_t(window));
    ASSERT_TRUE(image);
    const TestDesktop::Area frame = desktop->FrameArea(window);
    const TestDesktop::Area client = desktop->ClientArea(window);
    ASSERT_EQ(image->width(), uint32_t(frame.width));
    ASSERT_EQ(image->height(), uint32_t(frame.height));
    EXPECT_EQ(PixelAt(*image, client.x - frame.x + 150, client.y - frame.y + 100),
              Opaque(0xFF8000));

    // The client area, halved.
    StreamRecorder recorder;
    DisplayStreamConfig config;
    config.displayID = platform->screens().list().at(0).displayID;
    config.outputWidth = 150;
    config.outputHeight = 100;
    config.sourceRect = Rect{double(client.x), double(client.y), 300, 200};
    config.queue = &recorder.queue();
    config.handler = recorder.Handler();
    const std::unique_ptr<DisplayStream> stream = platform->createDisplayStream(std::move(config));
    ASSERT_TRUE(stream && stream->Start());
    EXPECT_GE(recorder.WaitFor(0,
                               [](const StreamRecorder::Delivery& d) {
                                   if (d.status != FrameStatus::Complete) return false;
                                   SurfaceLock lock(*d.surface);
                                   const uint8_t* base = d.surface->baseAddress();
                                   const size_t stride = d.surface->bytesPerRow();
                                   return PixelAt(base, stride, 0, 0) == Opaque(0xFF8000) &&
                                          PixelAt(base, stride, 149, 99) == Opaque(0xFF8000);
                               }),
              0);
}

TEST_F(WithoutExtensionsTest, TheRootIsTheOneScreenAndTheMouseIsFoundOnIt) {
    Display* display = desktop->display();
    XWarpPointer(display, None, DefaultRootWindow(display), 0, 0, 0, 0, 300, 200);
    XSync(display, False);
    std::vector<ScreenInfo> screens;
    const Point mouse = platform->screensAndMouse(screens);
    ASSERT_EQ(screens.size(), 1u);
    const double height = DisplayHeight(display, DefaultScreen(display));
    EXPECT_EQ(screens[0].frame, (Rect{0, 0, double(DisplayWidth(display, DefaultScreen(display))), height}));
    EXPECT_EQ(mouse, (Point{300, height - 200}));
    EXPECT_EQ(platform->cursor().mouseLocation(), mouse);
}
