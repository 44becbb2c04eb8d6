// The X server dies under a running capture and comes back on the same
// display: the process lives on, everything answers empty until the server
// is back, and then new captures work.
#include <gtest/gtest.h>

#include <atomic>

#include "StreamRecorder.h"
#include "TestDesktop.h"
#include "zUserLogHistory.h"

using namespace qcp::platform;

namespace {

class ServerLossTest : public LinuxDesktopTest {
public:
    static void SetUpTestSuite() { session = XvfbSession::StartApart(unavailable); }

protected:
    void TearDown() override {
        link.reset();
        stream.reset();
        platform.reset();
    }

    std::unique_ptr<DisplayStream> MakeStream(StreamRecorder& recorder) {
        const std::vector<ScreenInfo> screens = platform->screens().list();
        if (screens.empty()) return nullptr;
        DisplayStreamConfig config;
        config.displayID = screens[0].displayID;
        config.outputWidth = 320;
        config.outputHeight = 180;
        config.queue = &recorder.queue();
        config.handler = recorder.Handler();
        return platform->createDisplayStream(std::move(config));
    }

    static size_t LogLines(const std::string& text) {
        size_t count = 0;
        for (const zUserLogHistory::Entry& entry : zUserLogHistory::Default()->Entries()) count += entry.text == text;
        return count;
    }

    StreamRecorder recorder;
    std::unique_ptr<DisplayStream> stream;
    std::unique_ptr<DisplayLink> link;
};

} // namespace

TEST_F(ServerLossTest, ALostServerEndsCapturesEmptiesTheListsAndIsReconnectedWhenBack) {
    zUserLogHistory::Default()->Clear();
    const Window window = desktop->Open({"Doomed"}, 0x3060FF, 100, 100, 200, 150);
    ASSERT_NE(window, None);
    ASSERT_FALSE(platform->windowServer().windowList(false).empty());
    stream = MakeStream(recorder);
    ASSERT_TRUE(stream && stream->Start());
    ASSERT_GE(recorder.WaitFor(0, FrameStatus::Complete), 0);
    std::atomic<int> ticks = 0;
    link = platform->createDisplayLink(platform->screens().list().at(0).displayID, [&](int64_t) { ++ticks; });
    ASSERT_TRUE(link && link->Start());
    ASSERT_TRUE(TestDesktop::WaitUntil([&] { return ticks > 0; }));

    // The test's own client goes first: its connection has the default
    // handler, which would end the process.
    desktop.reset();
    const std::string display = session->display();
    session->KillServer();

    // The stream ends by itself, so a capture stopping it waits for nothing.
    ASSERT_GE(recorder.WaitFor(0, FrameStatus::Stopped), 0);
    EXPECT_FALSE(stream->Stop());
    EXPECT_FALSE(stream->Start());
    ASSERT_TRUE(TestDesktop::WaitUntil([&] { return platform->windowServer().windowList(false).empty(); }));
    EXPECT_TRUE(platform->screens().list().empty());
    EXPECT_FALSE(platform->windowServer().window(uint32_t(window)));
    EXPECT_FALSE(platform->windowServer().windowImage(uint32_t(window)));
    EXPECT_FALSE(platform->cursor().currentCursor().image);
    EXPECT_FALSE(MakeStream(recorder));
    const int ticksAtLoss = ticks;
    EXPECT_EQ(LogLines("Screen capture: lost the connection to X display " + display), 1u);

    // Back on the same display: found again, within the pause between tries.
    session = XvfbSession::Start({}, unavailable, display);
    ASSERT_TRUE(session) << unavailable;
    ASSERT_TRUE(TestDesktop::WaitUntil([&] { return !platform->screens().list().empty(); }));
    EXPECT_EQ(LogLines("Screen capture: X display " + display + " is back"), 1u);
    desktop = std::make_unique<TestDesktop>(display);
    const Window reborn = desktop->Open({"Reborn"}, 0xFF6030, 100, 100, 200, 150);
    ASSERT_NE(reborn, None);
    const std::vector<WindowInfo> windows = platform->windowServer().windowList(false);
    ASSERT_EQ(windows.size(), 1u);
    EXPECT_EQ(windows[0].title, "Reborn");
    EXPECT_TRUE(platform->cursor().currentCursor().image);

    StreamRecorder again;
    const std::unique_ptr<DisplayStream> renewed = MakeStream(again);
    ASSERT_TRUE(renewed && renewed->Start());
    EXPECT_GE(again.WaitFor(0, FrameStatus::Complete), 0);
    // The old link stayed quiet all the while (well over a second of ticks).
    EXPECT_EQ(ticks, ticksAtLoss);
    EXPECT_TRUE(link->IsRunning());
    link->Stop();
    EXPECT_FALSE(link->IsRunning());
}
