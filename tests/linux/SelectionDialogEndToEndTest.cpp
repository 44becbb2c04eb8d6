// The plug-in's selection dialog as a user meets it: qcp-host opens it on a
// private X desktop, xdotool types and clicks, and the host prints what the
// plug-in applied.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <thread>

#include "HostRun.h"
#include "Platform.h"
#include "QCP_API.h"
#include "TestDesktop.h"
#include "ThreadNames.h"
#include "ThreadSanitizer.h"
#include "X11ErrorTrap.h"

namespace {

// qcp-host on the session's display, running while the test acts on it.
class BackgroundHost {
public:
    explicit BackgroundHost(std::vector<std::string> args)
        : fThread([this, args = std::move(args)] { fRun = RunHost(args, "env QCP_PLATFORM=linux timeout 60"); }) {}
    ~BackgroundHost() {
        if (fThread.joinable()) fThread.join();
    }
    HostRun Finish() {
        fThread.join();
        return fRun;
    }

private:
    HostRun fRun;
    std::thread fThread;
};

// xdotool with `args`; bounded, so that a window that never comes fails the
// test instead of hanging it.
std::string Xdo(const std::string& args) {
    std::string out;
    FILE* pipe = popen(("timeout 20 xdotool " + args).c_str(), "r");
    if (!pipe) return out;
    char buffer[256];
    for (size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) out.append(buffer, n);
    pclose(pipe);
    return out;
}

// The id of the first window titled `title`, once it shows; empty if none
// comes. The window is then made the active one.
std::string AwaitWindow(const std::string& title) { return AwaitVisibleWindow("--name " + Quoted("^" + title + "$")); }

// Whether a window on top of the root is named `prefix`..., read on the
// test's own connection under an error trap: xdotool dies of a window that
// goes while it reads it.
bool TopWindowNamed(Display* display, std::string_view prefix) {
    qcp::platform::x11::X11ErrorTrap trap(display);
    Window root = 0, parent = 0;
    Window* children = nullptr;
    unsigned count = 0;
    if (!XQueryTree(display, DefaultRootWindow(display), &root, &parent, &children, &count)) return false;
    bool found = false;
    for (unsigned i = 0; i < count && !found; ++i) {
        char* name = nullptr;
        if (XFetchName(display, children[i], &name) && name) {
            found = std::string_view(name).starts_with(prefix);
            XFree(name);
        }
    }
    if (children) XFree(children);
    return found;
}

// The region selector's window, named after its text.
constexpr std::string_view kSelector = "Drag the rectangle";

class SelectionDialogEndToEnd : public LinuxDesktopTest {
protected:
    void SetUp() override {
        if (kUnderThreadSanitizer) GTEST_SKIP() << "the plug-in shows no windows under ThreadSanitizer";
        if (std::system("command -v xdotool >/dev/null") != 0) GTEST_SKIP() << "xdotool is not installed";
        LinuxDesktopTest::SetUp();
    }
};

constexpr const char* kWindowSource = "<settings><parameter name=\"Type\" value=\"1\"/></settings>";

bool Has(const std::string& settings, const std::string& name, const std::string& value) {
    return settings.find("<parameter name=\"" + name + "\" value=\"" + value + "\" />") != std::string::npos;
}

} // namespace

TEST_F(SelectionDialogEndToEnd, AWindowFoundByTypingIsApplied) {
    const long pid = long(getpid());
    ASSERT_NE(desktop->Open({"Budget", pid}, 0x336699, 100, 100, 400, 300), 0u);
    ASSERT_NE(desktop->Open({"Forecast", pid}, 0x993366, 600, 100, 400, 300), 0u);
    // Each in turn, so that neither is right by being preselected.
    for (const std::string title : {"Forecast", "Budget"}) {
        BackgroundHost host({"configure", "S", kWindowSource});
        ASSERT_FALSE(AwaitWindow("Choose a Window").empty());
        // Typing over a list finds the entry; Tab leaves the search, then the list.
        Xdo("type --delay 40 linux_tests");
        Xdo("key --delay 100 Tab Tab");
        Xdo("type --delay 40 " + title);
        Xdo("key Return");
        const HostRun run = host.Finish();
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_TRUE(Has(run.out, "Type", "1")) << run.out;
        EXPECT_TRUE(Has(run.out, "capture_window", title)) << run.out;
        EXPECT_TRUE(Has(run.out, "capture_app", "linux_tests")) << run.out;
    }
}

TEST_F(SelectionDialogEndToEnd, EscapeOrTheFrameCancelsAndChangesNothing) {
    // Alt+F4: the window manager asks the window to close, as its frame's button does.
    for (const std::string keys : {"Escape", "alt+F4"}) {
        BackgroundHost host({"configure", "S", kWindowSource});
        ASSERT_FALSE(AwaitWindow("Choose a Window").empty());
        Xdo("key " + keys);
        const HostRun run = host.Finish();
        EXPECT_EQ(run.status, 3) << keys << ": " << run.err;
        EXPECT_EQ(run.err, "qcp-host: cancelled\n") << keys;
        EXPECT_TRUE(run.out.empty()) << keys << ": " << run.out;
    }
}

namespace {

// choose-region on display 0, its selector acted on by `act` (xdotool
// arguments), then OK in the dialog.
HostRun ChooseRegion(Display* display, const std::string& act) {
    BackgroundHost host({"choose-region", "--display", "0"});
    EXPECT_FALSE(AwaitWindow("Choose a Display").empty());
    // Choosing the region entry with none drawn opens the selector on an
    // 800 x 600 rectangle in the middle of the 1920 x 1080 display.
    Xdo("key Tab");
    Xdo("type --delay 40 Region");
    EXPECT_TRUE(TestDesktop::WaitUntil([&] { return TopWindowNamed(display, kSelector); }));
    Xdo(act);
    // It keeps the keyboard until it has faded out and gone.
    EXPECT_TRUE(TestDesktop::WaitUntil([&] { return !TopWindowNamed(display, kSelector); }));
    EXPECT_FALSE(AwaitWindow("Choose a Display").empty());
    Xdo("key Return");
    return host.Finish();
}

} // namespace

TEST_F(SelectionDialogEndToEnd, ARegionDrawnWithTheMouseIsPrinted) {
    // The bottom-right handle 100 right and 60 down, then the whole 100 left and 50 up.
    const HostRun run = ChooseRegion(desktop->display(),
                                     "mousemove --sync 1360 840 mousedown 1 mousemove --sync 1400 870 "
                                     "mousemove --sync 1460 900 mouseup 1 "
                                     "mousemove --sync 960 540 mousedown 1 mousemove --sync 900 500 "
                                     "mousemove --sync 860 490 mouseup 1 key Return");
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "460,190,1359,849\n") << run.err;
}

TEST_F(SelectionDialogEndToEnd, EscapeOverTheSelectorKeepsTheWholeDisplay) {
    const HostRun run = ChooseRegion(desktop->display(), "key Escape");
    EXPECT_EQ(run.status, 3) << run.err;
    EXPECT_EQ(run.err, "qcp-host: the whole display was chosen, not a region\n");
}

TEST_F(SelectionDialogEndToEnd, UninitialisingWithTheDialogOpenLeavesNoWindowOrThread) {
    qcp::platform::Install(std::move(platform));
    ASSERT_EQ(QCP_IntitializeLibrary(), 1);
    ASSERT_EQ(QCP_CreateNamedSource(QCP_SCREEN_DEVICE_ID, "S"), 1);
    ASSERT_EQ(QCP_SetSourceSettings(QCP_SCREEN_DEVICE_ID, "S",
                                    "<settings><parameter name=\"Type\" value=\"0\"/>"
                                    "<parameter name=\"capture_monitor\" value=\"0\"/></settings>"),
              1);
    ASSERT_EQ(QCP_ShowCustomConfigDialog(QCP_SCREEN_DEVICE_ID, "S", 0), 1);
    // No English texts in this process: the title is its key.
    const std::string dialog = AwaitWindow("obr_capture_mon_window_title");
    EXPECT_FALSE(dialog.empty());
    EXPECT_EQ(ThreadsNamed("gtk"), 1);

    QCP_UninitializeLibrary();
    EXPECT_EQ(ThreadsNamed("gtk"), 0);
    EXPECT_TRUE(Xdo("search --name " + Quoted("^obr_capture_mon_window_title$")).empty());
    qcp::platform::Install(nullptr);
}
