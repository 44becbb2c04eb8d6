#include <gtest/gtest.h>

#include "TestDesktop.h"

using namespace qcp::platform;

using WindowImageTest = LinuxDesktopTest;

TEST_F(WindowImageTest, ACoveredWindowShowsItsOwnContentAndAGoneOneNothing) {
    const Window covered = desktop->Open({"Covered"}, 0x0000FF, 100, 100, 400, 300);
    const Window cover = desktop->Open({"Cover"}, 0xFF0000, 50, 50, 700, 600);
    ASSERT_TRUE(covered != None && cover != None);
    ASSERT_EQ(desktop->Stacking().front(), cover);

    const ImageRef image = platform->windowServer().windowImage(uint32_t(covered));
    ASSERT_TRUE(image);
    const TestDesktop::Area frame = desktop->FrameArea(covered);
    const TestDesktop::Area client = desktop->ClientArea(covered);
    ASSERT_EQ(image->width(), uint32_t(frame.width));
    ASSERT_EQ(image->height(), uint32_t(frame.height));
    EXPECT_EQ(PixelAt(image->pixels(), image->bytesPerRow(), client.x - frame.x + 200, client.y - frame.y + 150),
              Opaque(0x0000FF));

    desktop->Close(covered);
    EXPECT_FALSE(platform->windowServer().windowImage(uint32_t(covered)));
    EXPECT_FALSE(platform->windowServer().window(uint32_t(covered)));
}
