// Display frames with the cursor drawn, on a real X server, compared pixel
// for pixel with what the screen shows: small parts of the screen change in
// many places while the pointer moves over them, and no frame may keep a
// stale pixel (the server-made opaque copy, the cursor taken back out of a
// frame composed before).
// TestDesktop first: GoogleTest before Xlib's macros.
#include "LinuxPluginTest.h"

#include <X11/Xutil.h>

#include <atomic>
#include <cstring>
#include <mutex>
#include <random>
#include <vector>


namespace {

// The latest frame's pixels, copied in the callback (the only time they are
// the frame's).
struct LatestFrame {
    std::mutex mutex;
    std::vector<uint8_t> pixels;
    uint32_t width = 0, height = 0, bytesPerRow = 0;
    std::atomic<int> count{0};

    static void Video(void* context, QCP_VideoBuffer* frame) {
        auto& latest = *static_cast<LatestFrame*>(context);
        QCP_Surface* surface = QCP_SurfaceLookup(*frame->surfaceId);
        if (!surface) return;
        QCP_SurfaceLock(surface);
        {
            std::lock_guard lock(latest.mutex);
            latest.width = QCP_SurfaceGetWidth(surface);
            latest.height = QCP_SurfaceGetHeight(surface);
            latest.bytesPerRow = QCP_SurfaceGetBytesPerRow(surface);
            const auto* base = static_cast<const uint8_t*>(QCP_SurfaceGetBaseAddress(surface));
            latest.pixels.assign(base, base + size_t(latest.bytesPerRow) * latest.height);
        }
        QCP_SurfaceUnlock(surface);
        QCP_SurfaceRelease(surface);
        ++latest.count;
    }
    Pixel At(int x, int y) {
        std::lock_guard lock(mutex);
        return pixels.empty() ? Pixel{} : PixelAt(pixels.data(), bytesPerRow, x, y);
    }
};

class CursorFramesTest : public LinuxPluginTest {
protected:
    // Waits for `frames` more frames.
    bool Frames(int frames) {
        const int until = latest.count + frames;
        return TestDesktop::WaitUntil([&] { return latest.count >= until; });
    }

    LatestFrame latest;
};

} // namespace

TEST_F(CursorFramesTest, FramesShowTheScreenAsItIsWithTheCursorOverIt) {
    // Twenty small windows over the screen, repainted a few at a time.
    std::mt19937 random(7);
    std::vector<Window> tiles;
    for (int i = 0; i < 20; ++i) {
        tiles.push_back(desktop->Open({"tile"}, 0x102030 * uint32_t(i + 1), 100 + (i % 5) * 350, 100 + (i / 5) * 230,
                                      60, 40));
        ASSERT_NE(tiles.back(), None);
    }
    ASSERT_EQ(QCP_CreateNamedSource(QCP_SCREEN_DEVICE_ID, "S"), 1);
    QCP_RegisterVideoDataArrivedCallback(QCP_SCREEN_DEVICE_ID, "S", &LatestFrame::Video, &latest);
    ASSERT_EQ(QCP_SetSourceSettings(QCP_SCREEN_DEVICE_ID, "S",
                                    "<settings><parameter name=\"Type\" value=\"0\"/>"
                                    "<parameter name=\"capture_monitor\" value=\"0\"/>"
                                    "<parameter name=\"cursor\" value=\"true\"/></settings>"),
              1);
    ASSERT_TRUE(Frames(3));
    Display* display = desktop->display();
    for (int round = 0; round < 6; ++round) {
        const size_t watchedTile = random() % tiles.size();
        const size_t pointerTile = (watchedTile + 1 + random() % (tiles.size() - 1)) % tiles.size();
        for (int repaint = 0; repaint < 4; ++repaint)
            desktop->Paint(tiles[random() % tiles.size()], uint32_t(random()) & 0xFFFFFF);
        const uint32_t colour = uint32_t(random()) & 0xFFFFFF;
        desktop->Paint(tiles[watchedTile], colour);
        const TestDesktop::Area watched = desktop->ClientArea(tiles[watchedTile]);
        const TestDesktop::Area under = desktop->ClientArea(tiles[pointerTile]);
        // The pointer over another tile, then still while the frames settle.
        const int pointerX = under.x + 20, pointerY = under.y + 10;
        XWarpPointer(display, None, desktop->root(), 0, 0, 0, 0, pointerX, pointerY);
        XSync(display, False);
        ASSERT_TRUE(TestDesktop::WaitUntil(
            [&] { return latest.At(watched.x + watched.width / 2, watched.y + watched.height / 2) == Opaque(colour); }))
            << "round " << round;
        // Then away over the still screen: the frame stays, the cursor moves.
        const int awayX = pointerX + 150, awayY = pointerY + 100;
        XWarpPointer(display, None, desktop->root(), 0, 0, 0, 0, awayX, awayY);
        XSync(display, False);
        ASSERT_TRUE(Frames(4));

        XImage* screen = XGetImage(display, desktop->root(), 0, 0, 1920, 1080, AllPlanes, ZPixmap);
        ASSERT_TRUE(screen);
        std::lock_guard lock(latest.mutex);
        ASSERT_EQ(latest.width, 1920u);
        size_t stale = 0;
        for (int y = 0; y < 1080; ++y)
            for (int x = 0; x < 1920; ++x) {
                // The cursor's own pixels, near the pointer, are not the screen's.
                if (std::abs(x - awayX) < 40 && std::abs(y - awayY) < 40) continue;
                stale += PixelAt(latest.pixels.data(), latest.bytesPerRow, x, y) !=
                         Opaque(uint32_t(XGetPixel(screen, x, y) & 0xFFFFFF));
            }
        XDestroyImage(screen);
        EXPECT_EQ(stale, 0u) << "round " << round;
    }
    QCP_RemoveSource(QCP_SCREEN_DEVICE_ID, "S");
}

// A still window's frame comes back unread while the pointer moves over it:
// the cursor's old pixels must go from it before it is drawn anew.
TEST_F(CursorFramesTest, AStillWindowsFramesShowItAsItIsWithTheCursorMovingOverIt) {
    const Window window = desktop->Open({"Still"}, 0x336699, 200, 150, 640, 360);
    ASSERT_NE(window, None);
    ASSERT_EQ(QCP_CreateNamedSource(QCP_SCREEN_DEVICE_ID, "W"), 1);
    QCP_RegisterVideoDataArrivedCallback(QCP_SCREEN_DEVICE_ID, "W", &LatestFrame::Video, &latest);
    ASSERT_EQ(QCP_SetSourceSettings(QCP_SCREEN_DEVICE_ID, "W",
                                    "<settings><parameter name=\"Type\" value=\"1\"/>"
                                    "<parameter name=\"capture_window\" value=\"Still\"/>"
                                    "<parameter name=\"capture_app\" value=\"QcpTest\"/>"
                                    "<parameter name=\"cursor\" value=\"true\"/></settings>"),
              1);
    ASSERT_TRUE(Frames(3));
    const TestDesktop::Area frame = desktop->FrameArea(window);
    Display* display = desktop->display();
    XImage* shown = XGetImage(display, desktop->root(), frame.x, frame.y, unsigned(frame.width),
                              unsigned(frame.height), AllPlanes, ZPixmap);
    ASSERT_TRUE(shown);
    for (const auto& [x, y] : {std::pair{100, 100}, {300, 200}, {500, 120}}) {
        XWarpPointer(display, None, desktop->root(), 0, 0, 0, 0, frame.x + x, frame.y + y);
        XSync(display, False);
        ASSERT_TRUE(Frames(4));
        std::lock_guard lock(latest.mutex);
        ASSERT_EQ(latest.width, uint32_t(frame.width));
        size_t stale = 0, cursor = 0;
        for (int row = 0; row < frame.height; ++row)
            for (int column = 0; column < frame.width; ++column) {
                const bool differs = PixelAt(latest.pixels.data(), latest.bytesPerRow, column, row) !=
                                     Opaque(uint32_t(XGetPixel(shown, column, row) & 0xFFFFFF));
                if (std::abs(column - x) < 40 && std::abs(row - y) < 40) cursor += differs;
                else stale += differs;
            }
        EXPECT_GT(cursor, 0u) << "the cursor at " << x << ", " << y;
        EXPECT_EQ(stale, 0u) << "the cursor at " << x << ", " << y;
    }
    XDestroyImage(shown);
    QCP_RemoveSource(QCP_SCREEN_DEVICE_ID, "W");
}
