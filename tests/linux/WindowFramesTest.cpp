// A capture's frames of one window, read by the X server straight into the
// surfaces that go to the host.
#include <gtest/gtest.h>

#include "TestDesktop.h"

using namespace qcp::platform;

using WindowFramesTest = LinuxDesktopTest;

namespace {
Pixel SurfacePixel(Surface& surface, int x, int y) {
    SurfaceLock lock(surface);
    return PixelAt(surface.baseAddress(), surface.bytesPerRow(), x, y);
}
} // namespace

TEST_F(WindowFramesTest, FramesAreTheWindowsOwnOpaquePixelsAndAnUnchangedOneComesBackAsTheCallerLeftIt) {
    const Window window = desktop->Open({"Framed"}, 0x0000FF, 100, 100, 400, 300);
    const Window cover = desktop->Open({"Cover"}, 0xFF0000, 50, 50, 300, 200);
    ASSERT_TRUE(window != None && cover != None);
    const std::unique_ptr<WindowFrames> frames = platform->createWindowFrames(uint32_t(window));
    ASSERT_TRUE(frames);
    const TestDesktop::Area frame = desktop->FrameArea(window), client = desktop->ClientArea(window);
    const int x = client.x - frame.x + 300, y = client.y - frame.y + 250; // under no cover

    // Whatever the first read's own redirection stirred up is told by then.
    WindowFrame first = frames->Next(false);
    ASSERT_TRUE(TestDesktop::WaitUntil([&] {
        const WindowFrame again = frames->Next(false);
        const bool same = !again.fresh && again.surface.get() == first.surface.get();
        first = again;
        return same;
    }));
    ASSERT_TRUE(first.surface);
    EXPECT_EQ(first.surface->width(), uint32_t(frame.width));
    EXPECT_EQ(first.surface->height(), uint32_t(frame.height));
    EXPECT_EQ(SurfacePixel(*first.surface, x, y), Opaque(0x0000FF)) << "alpha set by the server";
    EXPECT_EQ(SurfacePixel(*first.surface, client.x - frame.x + 10, client.y - frame.y + 10), Opaque(0x0000FF))
        << "the window's own pixels where another covers it";

    {
        SurfaceLock lock(*first.surface);
        first.surface->baseAddress()[0] = 0x55; // what a caller draws stays for it
    }
    const WindowFrame unchanged = frames->Next(false);
    ASSERT_EQ(unchanged.surface.get(), first.surface.get());
    EXPECT_FALSE(unchanged.fresh);
    EXPECT_EQ(SurfacePixel(*unchanged.surface, 0, 0).b, 0x55);

    // A changed window is read into a surface no one else holds: the frame
    // kept here stays as it was.
    desktop->Paint(window, 0x00FF00);
    WindowFrame changed;
    ASSERT_TRUE(TestDesktop::WaitUntil([&] {
        changed = frames->Next(false);
        return changed.surface && SurfacePixel(*changed.surface, x, y) == Opaque(0x00FF00);
    }));
    EXPECT_TRUE(changed.fresh);
    EXPECT_NE(changed.surface.get(), first.surface.get());
    EXPECT_EQ(SurfacePixel(*first.surface, x, y), Opaque(0x0000FF));

    desktop->Close(window);
    EXPECT_TRUE(TestDesktop::WaitUntil([&] { return !frames->Next(false).surface; }));
}

TEST_F(WindowFramesTest, AResizedOrMovedWindowComesAtItsNewSizeWithItsBounds) {
    const Window window = desktop->Open({"Resized"}, 0x00FFFF, 100, 100, 400, 300);
    ASSERT_NE(window, None);
    const std::unique_ptr<WindowFrames> frames = platform->createWindowFrames(uint32_t(window));
    ASSERT_TRUE(frames);
    ASSERT_TRUE(TestDesktop::WaitUntil([&] { return bool(frames->Next(false).surface); }));
    XResizeWindow(desktop->display(), window, 640, 360);
    XSync(desktop->display(), False);
    EXPECT_TRUE(TestDesktop::WaitUntil([&] {
        const TestDesktop::Area frame = desktop->FrameArea(window);
        const WindowFrame next = frames->Next(false);
        return frame.width > 600 && next.surface && next.surface->width() == uint32_t(frame.width) &&
               next.surface->height() == uint32_t(frame.height) &&
               SurfacePixel(*next.surface, frame.width / 2, frame.height / 2) == Opaque(0x00FFFF);
    }));
    // The bounds come with each frame asked with them, as the window server
    // gives them.
    EXPECT_FALSE(frames->Next(false).bounds);
    XMoveWindow(desktop->display(), window, 300, 200);
    XSync(desktop->display(), False);
    EXPECT_TRUE(TestDesktop::WaitUntil([&] {
        const TestDesktop::Area frame = desktop->FrameArea(window);
        const WindowFrame next = frames->Next(true);
        return frame.x != 100 && next.bounds &&
               *next.bounds == (Rect{double(frame.x), double(frame.y), double(frame.width), double(frame.height)}) &&
               next.bounds == platform->windowServer().windowBounds(uint32_t(window));
    }));
}
