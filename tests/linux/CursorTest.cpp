#include <gtest/gtest.h>

#include "TestDesktop.h"
#include "X11Cursor.h"

using namespace qcp::platform;

TEST(CursorPixelsTest, BecomeBgraBytesWhateverTheUpperBitsOfEachLong) {
    // XFixes hands premultiplied ARGB, one pixel per unsigned long.
    const unsigned long pixels[2] = {0x80402010ul, static_cast<unsigned long>(0xDEAD0000FF00FF00ull)};
    const ImageRef image = x11::X11Cursor::ConvertPixels(pixels, 2, 1);
    ASSERT_TRUE(image);
    EXPECT_EQ(std::vector<uint8_t>(image->pixels(), image->pixels() + 8),
              (std::vector<uint8_t>{0x10, 0x20, 0x40, 0x80, 0x00, 0xFF, 0x00, 0xFF}));
}

using CursorTest = LinuxDesktopTest;

TEST_F(CursorTest, TheMouseIsMeasuredFromTheMainScreensBottomLeftWithYUp) {
    XWarpPointer(desktop->display(), None, desktop->root(), 0, 0, 0, 0, 300, 200);
    XSync(desktop->display(), False);
    EXPECT_EQ(platform->cursor().mouseLocation(), (Point{300, 880}));
}
