#include <gtest/gtest.h>

#include <X11/Xutil.h>

#include "TestDesktop.h"

using namespace qcp::platform;

namespace {

class CursorTest : public LinuxDesktopTest {
protected:
    void Warp(int x, int y) {
        XWarpPointer(desktop->display(), None, desktop->root(), 0, 0, 0, 0, x, y);
        XSync(desktop->display(), False);
    }

    // A 16 x 16 cursor: red where the left half of the bitmap is set, blue
    // elsewhere, nothing outside the mask's top half; hot spot (3, 5).
    ::Cursor MakeCursor() {
        Display* display = desktop->display();
        unsigned char source[32], mask[32];
        for (int row = 0; row < 16; ++row) {
            source[row * 2] = 0xFF; // bits 0-7: the left half
            source[row * 2 + 1] = 0x00;
            mask[row * 2] = mask[row * 2 + 1] = row < 8 ? 0xFF : 0x00;
        }
        const Pixmap sourcePixmap =
            XCreateBitmapFromData(display, desktop->root(), reinterpret_cast<char*>(source), 16, 16);
        const Pixmap maskPixmap =
            XCreateBitmapFromData(display, desktop->root(), reinterpret_cast<char*>(mask), 16, 16);
        XColor red{}, blue{};
        red.red = 0xFFFF;
        blue.blue = 0xFFFF;
        const ::Cursor cursor = XCreatePixmapCursor(display, sourcePixmap, maskPixmap, &red, &blue, 3, 5);
        XFreePixmap(display, sourcePixmap);
        XFreePixmap(display, maskPixmap);
        return cursor;
    }
};

} // namespace

TEST_F(CursorTest, TheMouseIsMeasuredFromTheMainScreensBottomLeftWithYUp) {
    Warp(300, 200);
    EXPECT_EQ(platform->cursor().mouseLocation(), (Point{300, 880}));
    Warp(0, 1079);
    EXPECT_EQ(platform->cursor().mouseLocation(), (Point{0, 1}));
}

TEST_F(CursorTest, TheCursorPictureIsPremultipliedBgraWithItsHotSpotAndKeptUntilItChanges) {
    const Window window = desktop->Open(TestDesktop::Titled("Pointer"), 0x000000, 100, 100, 300, 300);
    ASSERT_NE(window, None);
    const ::Cursor cursor = MakeCursor();
    XDefineCursor(desktop->display(), window, cursor);
    const TestDesktop::Area client = desktop->ClientArea(window);
    Warp(client.x + 150, client.y + 150);

    CursorImage image;
    ASSERT_TRUE(TestDesktop::WaitUntil([&] {
        image = platform->cursor().currentCursor();
        return image.image && image.width == 16 && image.hotSpot == Point{3, 5};
    }));
    EXPECT_EQ(image.height, 16);
    const uint8_t* pixels = image.image->pixels();
    const size_t stride = image.image->bytesPerRow();
    EXPECT_EQ(PixelAt(pixels, stride, 2, 2), Opaque(0xFF0000));
    EXPECT_EQ(PixelAt(pixels, stride, 12, 2), Opaque(0x0000FF));
    EXPECT_EQ(PixelAt(pixels, stride, 2, 12), (Pixel{0, 0, 0, 0})); // masked out: transparent

    // Unchanged: the very same picture, not fetched again.
    EXPECT_EQ(platform->cursor().currentCursor().image, image.image);

    Warp(1500, 900); // over the root: the server's own cursor
    ASSERT_TRUE(TestDesktop::WaitUntil([&] { return platform->cursor().currentCursor().image != image.image; }));
    XFreeCursor(desktop->display(), cursor);
}
