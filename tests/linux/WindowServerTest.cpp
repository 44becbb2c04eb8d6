#include <gtest/gtest.h>

#include <unistd.h>

#include "TestDesktop.h"
#include "X11ClientIdentity.h"
#include "X11WindowServer.h"

using namespace qcp::platform;

namespace {
// No process has this id (above the kernel's pid limit).
constexpr long kNoSuchProcess = 0x7FFFFFF0;
} // namespace

using WindowServerTest = LinuxDesktopTest;

TEST_F(WindowServerTest, ListsClientsFrontToBackWithTitleOwnerBoundsAndOnScreenFlag) {
    const Window alpha = desktop->Open({"Alpha", getpid()}, 0xFF0000, 100, 100, 300, 200);
    const Window beta = desktop->Open({"Beta", kNoSuchProcess, "QcpClass"}, 0x00FF00, 500, 150, 320, 240);
    const Window gamma = desktop->Open({"Gamma \xE2\x9C\x93"}, 0x0000FF, 900, 200, 200, 100);
    const Window minimised = desktop->Open({"Minimised"}, 0x445566, 400, 500, 200, 200);
    ASSERT_TRUE(alpha != None && beta != None && gamma != None && minimised != None);
    desktop->Minimise(minimised);

    const std::vector<WindowInfo> all = platform->windowServer().windowList(false);
    std::vector<uint32_t> numbers;
    for (const WindowInfo& info : all) numbers.push_back(info.number);
    // Each new window opened in front of the others.
    ASSERT_EQ(numbers, (std::vector<uint32_t>{uint32_t(minimised), uint32_t(gamma), uint32_t(beta), uint32_t(alpha)}));
    EXPECT_FALSE(all[0].onScreen);

    const WindowInfo& g = all[1];
    EXPECT_EQ(g.title, "Gamma \xE2\x9C\x93");
    EXPECT_EQ(g.ownerName, "QcpTest"); // no _NET_WM_PID: the class names the owner
    EXPECT_TRUE(g.onScreen);
    const WindowInfo& b = all[2];
    // No process can have that pid: the client program owns the window.
    EXPECT_EQ(b.ownerPID, qcp::platform::x11::X11ClientIdentity::ProgramID("QcpClass", ""));
    EXPECT_EQ(b.ownerName, "QcpClass"); // no such process: the class names the owner
    const WindowInfo& a = all[3];
    EXPECT_EQ(a.title, "Alpha");
    EXPECT_EQ(a.ownerPID, getpid());
    EXPECT_EQ(a.ownerName, qcp::platform::x11::X11WindowServer::ProcessName(getpid()));
    EXPECT_NE(a.ownerName, "QcpTest");
    // The frame openbox put around the client, as the server's window tree has it.
    const TestDesktop::Area frame = desktop->FrameArea(alpha);
    const TestDesktop::Area client = desktop->ClientArea(alpha);
    EXPECT_EQ(a.bounds, (Rect{double(frame.x), double(frame.y), double(frame.width), double(frame.height)}));
    EXPECT_LT(a.bounds.y, client.y); // the title bar
    EXPECT_EQ(platform->windowServer().window(uint32_t(alpha))->bounds, a.bounds);

    numbers.clear();
    for (const WindowInfo& info : platform->windowServer().windowList(true)) numbers.push_back(info.number);
    EXPECT_EQ(numbers, (std::vector<uint32_t>{uint32_t(gamma), uint32_t(beta), uint32_t(alpha)}));
}
