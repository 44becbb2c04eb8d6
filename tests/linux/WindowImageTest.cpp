#include <gtest/gtest.h>

#include "TestDesktop.h"

using namespace qcp::platform;

namespace {

class WindowImageTest : public LinuxDesktopTest {
protected:
    // The pixel of `image` at the centre of the window's client area.
    Pixel ClientCentre(const Image& image, Window window) {
        const TestDesktop::Area frame = desktop->FrameArea(window);
        const TestDesktop::Area client = desktop->ClientArea(window);
        return PixelAt(image.pixels(), image.bytesPerRow(), client.x - frame.x + client.width / 2,
                       client.y - frame.y + client.height / 2);
    }
};

} // namespace

TEST_F(WindowImageTest, ACoveredWindowShowsItsOwnContentAtTheSizeOfItsBounds) {
    const Window covered = desktop->Open(TestDesktop::Titled("Covered"), 0x0000FF, 100, 100, 400, 300);
    const Window cover = desktop->Open(TestDesktop::Titled("Cover"), 0xFF0000, 50, 50, 700, 600);
    ASSERT_NE(covered, None);
    ASSERT_NE(cover, None);
    ASSERT_EQ(desktop->Stacking().front(), cover);

    const ImageRef image = platform->windowServer().windowImage(uint32_t(covered));
    ASSERT_TRUE(image);
    const Rect bounds = platform->windowServer().window(uint32_t(covered))->bounds;
    ASSERT_EQ(image->width(), uint32_t(bounds.width));
    ASSERT_EQ(image->height(), uint32_t(bounds.height));
    EXPECT_EQ(ClientCentre(*image, covered), Opaque(0x0000FF));

    // Later pictures follow what the window draws, still under its cover.
    desktop->Paint(covered, 0x00FF00);
    const ImageRef repainted = platform->windowServer().windowImage(uint32_t(covered));
    ASSERT_TRUE(repainted);
    EXPECT_EQ(ClientCentre(*repainted, covered), Opaque(0x00FF00));
}

TEST_F(WindowImageTest, GoneMinimisedOrUnknownWindowsHaveNoPicture) {
    const Window closed = desktop->Open(TestDesktop::Titled("Closed"), 0x123456, 100, 100, 200, 200);
    const Window minimised = desktop->Open(TestDesktop::Titled("Minimised"), 0x654321, 400, 100, 200, 200);
    ASSERT_TRUE(platform->windowServer().windowImage(uint32_t(closed)));
    desktop->Close(closed);
    desktop->Minimise(minimised);
    EXPECT_FALSE(platform->windowServer().windowImage(uint32_t(closed)));
    EXPECT_FALSE(platform->windowServer().windowImage(uint32_t(minimised)));
    EXPECT_FALSE(platform->windowServer().windowImage(0));
    EXPECT_FALSE(platform->windowServer().windowImage(uint32_t(desktop->root())));
}

TEST_F(WindowImageTest, AWindowPartlyOffTheScreenIsPicturedWhole) {
    const Window window = desktop->Open(TestDesktop::Titled("Edge"), 0x00FFFF, 1800, 900, 400, 300);
    ASSERT_NE(window, None);
    const ImageRef image = platform->windowServer().windowImage(uint32_t(window));
    ASSERT_TRUE(image);
    const TestDesktop::Area frame = desktop->FrameArea(window);
    ASSERT_GT(frame.x + frame.width, 1920) << "the window manager kept the window on the screen";
    ASSERT_EQ(image->width(), uint32_t(frame.width));
    ASSERT_EQ(image->height(), uint32_t(frame.height));
    EXPECT_EQ(ClientCentre(*image, window), Opaque(0x00FFFF)); // off the screen
}
