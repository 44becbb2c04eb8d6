#include <gtest/gtest.h>

#include <X11/Xutil.h>

#include <atomic>
#include <cstdlib>
#include <mutex>
#include <optional>

#include "GtkRegionOverlay.h"
#include "GtkDesktopTest.h"
#include "zQueue.h"

using namespace qcp::platform;
using qcp::platform::gtk::GtkLoop;
using qcp::platform::gtk::GtkRegionOverlay;

namespace {

// What the overlay told the core, and whether each call came on the main queue.
class RecordingInput final : public RegionOverlayInput {
public:
    struct Call {
        std::string what;
        Point at;
        uint32_t character = 0;
        bool onMain = false;
    };

    void MouseMoved(Point at) override { Add("moved", at); }
    void MouseDown(Point at) override { Add("down", at); }
    void MouseDragged(Point at) override { Add("dragged", at); }
    void MouseUp(Point at) override { Add("up", at); }
    void KeyDown(uint32_t character) override { Add("key", {}, character); }
    void CancelOperation() override { Add("cancel"); }

    std::vector<Call> Calls() const {
        std::lock_guard lock(fMutex);
        return fCalls;
    }
    // Whether a call of `what` (at `at`, for the mouse) came after the
    // one found by the previous Saw, which it then stands for.
    bool Saw(const std::string& what, std::optional<Point> at = std::nullopt, uint32_t character = 0) {
        std::lock_guard lock(fMutex);
        for (size_t i = fSeen; i < fCalls.size(); ++i) {
            const Call& call = fCalls[i];
            if (call.what == what && (!at || call.at == *at) && call.character == character) {
                fSeen = i + 1;
                return true;
            }
        }
        return false;
    }

private:
    void Add(std::string what, Point at = {}, uint32_t character = 0) {
        const bool onMain = zQueue::Main().IsCurrent();
        std::lock_guard lock(fMutex);
        fCalls.push_back({std::move(what), at, character, onMain});
    }

    mutable std::mutex fMutex;
    std::vector<Call> fCalls;
    size_t fSeen = 0;
};

bool Xdotool(const std::string& arguments) { return std::system(("xdotool " + arguments).c_str()) == 0; }

RegionOverlayState Selecting(float alpha, int selectedCorner = 0) {
    RegionOverlayState state;
    state.selection = {400, 300, 600, 400}; // root rows 380 to 780
    state.selectedCorner = selectedCorner;
    state.alpha = alpha;
    state.message = "Drag the frame, then press Return";
    state.infoBox = {535, 720, 330, 60};
    return state;
}

// Makes, shows, updates and destroys the view on the main queue, as the core does.
class OverlayOnMainQueue {
public:
    OverlayOnMainQueue(GtkLoop& loop, RegionOverlayInput& input) {
        zQueue::Main().Sync([&] { fView = std::make_unique<GtkRegionOverlay>(loop, input, QCP_TEST_RESOURCES); });
    }
    ~OverlayOnMainQueue() { Destroy(); }
    void Show(const ScreenInfo& screen, const RegionOverlayState& state) {
        zQueue::Main().Sync([&] { fView->Show(screen, state); });
    }
    void Update(const RegionOverlayState& state, const Rect& area) {
        zQueue::Main().Sync([&] { fView->Update(state, area); });
    }
    void Destroy() {
        zQueue::Main().Sync([&] { fView.reset(); });
    }

private:
    std::unique_ptr<GtkRegionOverlay> fView;
};

} // namespace

// No X display for this process while it lives.
class WithoutDisplay {
public:
    WithoutDisplay() {
        if (const char* display = std::getenv("DISPLAY")) fSaved = display;
        unsetenv("DISPLAY");
    }
    ~WithoutDisplay() {
        if (fSaved) setenv("DISPLAY", fSaved->c_str(), 1);
    }

private:
    std::optional<std::string> fSaved;
};

// First in the program: once GTK has opened a display it keeps it.
TEST(GtkRegionOverlayWithoutDisplayTest, TheChoiceIsCancelledOnceAndNothingIsShown) {
    if (kUnderThreadSanitizer) GTEST_SKIP() << "GTK is not built for ThreadSanitizer";
    const WithoutDisplay without;
    GtkLoop loop;
    // The test's own turn on GTK's thread, behind what the view posted.
    const GtkLoop::Use use(loop);
    std::atomic<int> ready{-1};
    use.Post([&] { ready = GtkLoop::Ready(); });
    ASSERT_TRUE(TestDesktop::WaitUntil([&] { return ready >= 0; }));
    if (ready == 1) GTEST_SKIP() << "GTK opened a display in an earlier test";

    ScreenInfo screen;
    screen.displayID = 1;
    screen.frame = {0, 0, 1920, 1080};
    RecordingInput input;
    OverlayOnMainQueue overlay(loop, input);
    overlay.Show(screen, Selecting(0));
    overlay.Update(Selecting(0.5f), {});
    overlay.Show(screen, Selecting(1));
    std::atomic<bool> handled{false};
    use.Post([&] { handled = true; });
    ASSERT_TRUE(TestDesktop::WaitUntil([&] { return handled.load(); }));
    // What GTK's thread sent before that has reached the main queue's end.
    zQueue::Main().Sync([] {});
    const std::vector<RecordingInput::Call> calls = input.Calls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].what, "cancel");
    EXPECT_TRUE(calls[0].onMain);
}

using GtkRegionOverlayTest = GtkDesktopTest;

TEST_F(GtkRegionOverlayTest, ItDimsAFrozenPictureOfTheScreenAndSendsTheUsersInputInViewCoordinates) {
    Display* x = desktop->display();
    desktop->Paint(desktop->root(), 0x808080);
    const Window red = desktop->Open({"red"}, 0xC03030, 1200, 100, 300, 200);
    ASSERT_NE(red, 0u);
    const TestDesktop::Area redArea = desktop->ClientArea(red);
    const int redX = redArea.x + redArea.width / 2, redY = redArea.y + redArea.height / 2;
    ASSERT_EQ(RootPixel(x, redX, redY).r, 0xC0);
    const std::vector<ScreenInfo> screens = platform->screens().list();
    ASSERT_EQ(screens.size(), 1u);

    GtkLoop loop;
    RecordingInput input;
    OverlayOnMainQueue overlay(loop, input);
    overlay.Show(screens[0], Selecting(1));

    // Outside: the picture under black at 70 %; inside: under white at 10 %.
    ASSERT_TRUE(TestDesktop::WaitUntil([&] { return RootPixel(x, 100, 100).g < 60; })) << "no overlay";
    ASSERT_TRUE(TestDesktop::WaitUntil([&] { return RootPixel(x, 403, 780).g > 200; }))
        << "no handle: " << RootPixel(x, 403, 780).g;
    EXPECT_NEAR(RootPixel(x, 100, 100).g, 38, 4);
    EXPECT_NEAR(RootPixel(x, 700, 500).g, 141, 4);
    const Pixel dimmedRed = RootPixel(x, redX, redY);
    EXPECT_NEAR(dimmedRed.r, 58, 4) << "the picture is not the screen's";
    EXPECT_NEAR(dimmedRed.g, 14, 4);
    EXPECT_LT(RootPixel(x, 540, 305).g, 8) << "no information box";

    // The handle under the pointer is drawn pressed; the fade dims every layer less.
    overlay.Update(Selecting(1, 7), {});
    EXPECT_TRUE(TestDesktop::WaitUntil([&] { return RootPixel(x, 403, 780).g < 90; })) << "handle 7 not redrawn";
    overlay.Update(Selecting(0.5f, 7), {});
    EXPECT_TRUE(TestDesktop::WaitUntil([&] { return std::abs(RootPixel(x, 100, 100).g - 83) <= 4; }));

    // The pointer and keys, grabbed by the overlay; GTK's y down becomes the view's y up.
    ASSERT_TRUE(Xdotool("mousemove 700 500"));
    EXPECT_TRUE(TestDesktop::WaitUntil([&] { return input.Saw("moved", Point{700, 580}); }));
    ASSERT_TRUE(Xdotool("mousedown 1"));
    EXPECT_TRUE(TestDesktop::WaitUntil([&] { return input.Saw("down", Point{700, 580}); }));
    ASSERT_TRUE(Xdotool("mousemove 720 530"));
    EXPECT_TRUE(TestDesktop::WaitUntil([&] { return input.Saw("dragged", Point{720, 550}); }));
    ASSERT_TRUE(Xdotool("mouseup 1"));
    EXPECT_TRUE(TestDesktop::WaitUntil([&] { return input.Saw("up", Point{720, 550}); }));
    ASSERT_TRUE(Xdotool("key a Return"));
    EXPECT_TRUE(TestDesktop::WaitUntil([&] { return input.Saw("key", std::nullopt, 13); }));
    ASSERT_TRUE(Xdotool("key KP_Enter"));
    EXPECT_TRUE(TestDesktop::WaitUntil([&] { return input.Saw("key", std::nullopt, 3); }));
    ASSERT_TRUE(Xdotool("key Escape"));
    EXPECT_TRUE(TestDesktop::WaitUntil([&] { return input.Saw("cancel"); }));
    int keys = 0;
    for (const RecordingInput::Call& call : input.Calls()) {
        EXPECT_TRUE(call.onMain) << call.what;
        keys += call.what == "key";
    }
    EXPECT_EQ(keys, 2) << "a key other than Return and Enter was passed on";

    // Gone: the screen shows again, and the pointer is free.
    overlay.Destroy();
    EXPECT_TRUE(TestDesktop::WaitUntil([&] { return RootPixel(x, 100, 100).g == 0x80; })) << "the overlay stayed";
    const Window other = desktop->Open({"after"}, 0x3030C0, 100, 600, 200, 100);
    EXPECT_NE(other, 0u) << "the window manager could not take the pointer back";
}
