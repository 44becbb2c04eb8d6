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
    EXPECT_EQ(PixelAt(*image, client.x - frame.x + 200, client.y - frame.y + 150),
              Opaque(0x0000FF));

    desktop->Close(covered);
    EXPECT_FALSE(platform->windowServer().windowImage(uint32_t(covered)));
    EXPECT_FALSE(platform->windowServer().window(uint32_t(covered)));
}

TEST_F(WindowImageTest, AnUnchangedWindowGivesItsLastPictureAgainAndAChangedOneIsReadAnew) {
    const Window window = desktop->Open({"Still"}, 0x00FF00, 100, 100, 400, 300);
    ASSERT_NE(window, None);
    const TestDesktop::Area frame = desktop->FrameArea(window), client = desktop->ClientArea(window);
    const auto centre = [&](const ImageRef& image) {
        return PixelAt(*image, client.x - frame.x + 200, client.y - frame.y + 150);
    };
    const uint32_t id = uint32_t(window);
    ImageRef first = platform->windowServer().windowImage(id);
    ASSERT_TRUE(first);
    // Whatever the first read's own redirection stirred up has been told by now.
    ASSERT_TRUE(TestDesktop::WaitUntil([&] {
        const ImageRef again = platform->windowServer().windowImage(id);
        const bool same = again == first;
        first = again;
        return same;
    }));
    EXPECT_EQ(platform->windowServer().windowImage(id), first) << "nothing changed: no new read";

    // A change of the client inside the frame is a change of the frame.
    desktop->Paint(window, 0xFF00FF);
    ImageRef changed;
    ASSERT_TRUE(TestDesktop::WaitUntil([&] {
        changed = platform->windowServer().windowImage(id);
        return changed && centre(changed) == Opaque(0xFF00FF);
    }));
    EXPECT_NE(changed, first);
    EXPECT_EQ(centre(first), Opaque(0x00FF00)) << "a picture handed out never changes";
}

TEST_F(WindowImageTest, APictureNoOneHoldsAnyMoreIsWrittenAgainWithTheNextChange) {
    const Window window = desktop->Open({"Repainted"}, 0xFF0000, 100, 100, 400, 300);
    ASSERT_NE(window, None);
    const TestDesktop::Area frame = desktop->FrameArea(window), client = desktop->ClientArea(window);
    const uint32_t id = uint32_t(window);
    // Reads until the picture shows `rgb`, and lets it go.
    const auto readShowing = [&](uint32_t rgb) {
        std::weak_ptr<const Image> seen;
        TestDesktop::WaitUntil([&] {
            const ImageRef image = platform->windowServer().windowImage(id);
            seen = image;
            return image && PixelAt(*image, client.x - frame.x + 200,
                                    client.y - frame.y + 150) == Opaque(rgb);
        });
        return seen;
    };
    const std::weak_ptr<const Image> red = readShowing(0xFF0000);
    desktop->Paint(window, 0x00FF00);
    const std::weak_ptr<const Image> green = readShowing(0x00FF00);
    desktop->Paint(window, 0x0000FF);
    const ImageRef blue = readShowing(0x0000FF).lock();
    ASSERT_TRUE(blue);
    // The window server keeps the latest; the one before it was free to be
    // written again, and was: nothing new was made for the third picture.
    EXPECT_NE(green.lock(), red.lock());
    EXPECT_EQ(red.lock(), blue);
}

// Where a window is and which windows there are are kept from the server's
// events: each change must be seen by the very next question, frame after
// frame, with no round trip asking again in between.
TEST_F(WindowImageTest, AMovedResizedOrClosedWindowIsSeenAtTheNextPicture) {
    const Window window = desktop->Open({"Moving"}, 0x00FFFF, 100, 100, 400, 300);
    ASSERT_NE(window, None);
    const uint32_t id = uint32_t(window);
    WindowServer& server = platform->windowServer();
    // As the window server sees it: its bounds, and its picture's size and middle.
    const auto seenAs = [&](const TestDesktop::Area& frame) {
        const Rect bounds{double(frame.x), double(frame.y), double(frame.width), double(frame.height)};
        const std::optional<WindowInfo> info = server.window(id);
        const ImageRef image = server.windowImage(id);
        return info && info->bounds == bounds && server.windowBounds(id) == bounds &&
               image && image->width() == uint32_t(frame.width) && image->height() == uint32_t(frame.height) &&
               PixelAt(*image, frame.width / 2, frame.height / 2) == Opaque(0x00FFFF);
    };
    ASSERT_TRUE(TestDesktop::WaitUntil([&] { return seenAs(desktop->FrameArea(window)); }));

    XMoveResizeWindow(desktop->display(), window, 500, 300, 640, 360);
    XSync(desktop->display(), False);
    // Once the window manager has placed it, the next look sees it there.
    ASSERT_TRUE(TestDesktop::WaitUntil([&] {
        const TestDesktop::Area frame = desktop->FrameArea(window);
        return frame.x != 100 && frame.width > 600 && seenAs(frame);
    })) << "moved and resized";

    desktop->Close(window);
    EXPECT_TRUE(TestDesktop::WaitUntil(
        [&] { return !server.window(id) && !server.windowImage(id) && !server.windowBounds(id); }));
    const Window next = desktop->Open({"Next"}, 0xFFFF00, 100, 100, 200, 100);
    ASSERT_NE(next, None);
    EXPECT_TRUE(TestDesktop::WaitUntil([&] { return server.windowImage(uint32_t(next)) != nullptr; }))
        << "a new client is listed";
}
