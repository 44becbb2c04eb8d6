// Who owns a client window when _NET_WM_PID does not say: clients that set
// none (xeyes, xlogo, xclock) and clients on another machine are grouped into
// one application per client program, by WM_CLASS and WM_CLIENT_MACHINE.
#include <gtest/gtest.h>

#include <limits.h>
#include <unistd.h>

#include <algorithm>

#include "MacCaptureWindowManager.h"
#include "Platform.h"
#include "TestDesktop.h"
#include "X11ClientIdentity.h"
#include "X11Factory.h"
#include "X11WindowServer.h"

using namespace qcp::platform;

namespace {

// Linux hands out process ids below PID_MAX_LIMIT (2^22 on 64-bit kernels).
constexpr int32_t kProcessIDLimit = 1 << 22;
constexpr const char* kElsewhere = "elsewhere.invalid";

std::string LocalHost() {
    char name[HOST_NAME_MAX + 1] = {};
    gethostname(name, sizeof name - 1);
    return name;
}

std::optional<WindowInfo> Entry(Platform& platform, Window window) {
    for (const WindowInfo& info : platform.windowServer().windowList(false))
        if (info.number == uint32_t(window)) return info;
    return std::nullopt;
}

class ClientIdentityTest : public LinuxDesktopTest {
protected:
    void TearDown() override {
        if (!fInventory) return;
        MC::MacCaptureWindowManager::shutdownMacCaptureWindowMgr();
        Install(nullptr);
    }
    // Installs the platform (a copy of the test's) and starts the inventory.
    void StartInventory() {
        Install(x11::MakePlatform());
        MC::MacCaptureWindowManager::initializeMacCaptureWindowMgr();
        fInventory = true;
    }
    // The inventory's application owning `window`; null when not offered.
    static const MC::MacCaptureApplication* ApplicationOf(Window window) {
        const MC::MacCaptureWindow* entry = MC::MacCaptureWindowManager::getWindowForID(int(window));
        return entry ? entry->application : nullptr;
    }

private:
    bool fInventory = false;
};

} // namespace

TEST_F(ClientIdentityTest, PidlessClientsOfTwoClassesAreTwoApplicationsWithTheirOwnNames) {
    const Window eyes = desktop->Open({"xeyes", 0, "XEyes", LocalHost()}, 0xFFFFFF, 100, 100, 200, 150);
    const Window logo = desktop->Open({"xlogo", 0, "XLogo", LocalHost()}, 0x000000, 400, 100, 200, 150);
    ASSERT_TRUE(eyes != None && logo != None);

    const std::optional<WindowInfo> e = Entry(*platform, eyes), l = Entry(*platform, logo);
    ASSERT_TRUE(e && l);
    EXPECT_EQ(e->ownerName, "XEyes");
    EXPECT_EQ(l->ownerName, "XLogo");
    EXPECT_NE(e->ownerPID, l->ownerPID);
    for (const int32_t id : {e->ownerPID, l->ownerPID}) {
        EXPECT_GE(id, kProcessIDLimit) << "no real process has that id";
        EXPECT_NE(id, platform->windowServer().ownPID());
    }

    StartInventory();
    MC::MacCaptureWindowManager::RefreshLock inventory;
    const MC::MacCaptureApplication* eyesApp = ApplicationOf(eyes);
    const MC::MacCaptureApplication* logoApp = ApplicationOf(logo);
    ASSERT_TRUE(eyesApp && logoApp);
    EXPECT_NE(eyesApp, logoApp);
    EXPECT_EQ(eyesApp->name, "XEyes");
    EXPECT_EQ(logoApp->name, "XLogo");
    EXPECT_EQ(eyesApp->pid, e->ownerPID);
    EXPECT_EQ(eyesApp->windows.size(), 1u);
    EXPECT_EQ(logoApp->windows.size(), 1u);
    // What `qcp-host capture --window xeyes --app XEyes` looks up.
    const MC::MacCaptureWindow* found = MC::MacCaptureWindowManager::getWindow("xeyes", "XEyes");
    ASSERT_TRUE(found);
    EXPECT_EQ(found->windowID, int32_t(eyes));
}

TEST_F(ClientIdentityTest, WindowsOfOneClassOnOneMachineAreOneApplication) {
    const Window first = desktop->Open({"Logo 1", 0, "XLogo", LocalHost()}, 0x102030, 100, 100, 200, 150);
    const Window second = desktop->Open({"Logo 2", 0, "XLogo", LocalHost()}, 0x203040, 400, 100, 200, 150);
    const Window remote = desktop->Open({"Logo 3", 0, "XLogo", kElsewhere}, 0x304050, 700, 100, 200, 150);
    ASSERT_TRUE(first != None && second != None && remote != None);

    const std::optional<WindowInfo> a = Entry(*platform, first), b = Entry(*platform, second),
                                    c = Entry(*platform, remote);
    ASSERT_TRUE(a && b && c);
    EXPECT_EQ(a->ownerPID, b->ownerPID);
    EXPECT_NE(a->ownerPID, c->ownerPID) << "the same program on another machine is another application";
    EXPECT_EQ(c->ownerName, "XLogo");

    StartInventory();
    MC::MacCaptureWindowManager::RefreshLock inventory;
    const MC::MacCaptureApplication* local = ApplicationOf(first);
    ASSERT_TRUE(local);
    EXPECT_EQ(ApplicationOf(second), local);
    EXPECT_EQ(local->windows.size(), 2u);
    EXPECT_NE(ApplicationOf(remote), local);
}

TEST_F(ClientIdentityTest, SyntheticOwnerIdIsTheSameAcrossRefreshesAndPlatforms) {
    Window clock = desktop->Open({"xclock", 0, "XClock", LocalHost()}, 0xC0C0C0, 100, 100, 200, 200);
    ASSERT_NE(clock, None);
    const std::optional<WindowInfo> before = Entry(*platform, clock);
    ASSERT_TRUE(before);
    EXPECT_GE(before->ownerPID, kProcessIDLimit);
    EXPECT_EQ(Entry(*platform, clock)->ownerPID, before->ownerPID);
    // The program started again: a new window, the same application.
    desktop->Close(clock);
    clock = desktop->Open({"xclock", 0, "XClock", LocalHost()}, 0xC0C0C0, 120, 120, 200, 200);
    ASSERT_NE(clock, None);
    EXPECT_EQ(Entry(*platform, clock)->ownerPID, before->ownerPID);
    // Another platform (as in another run of the plug-in) says the same.
    EXPECT_EQ(Entry(*x11::MakePlatform(), clock)->ownerPID, before->ownerPID);

    StartInventory();
    for (int refresh = 0; refresh < 2; ++refresh) {
        MC::MacCaptureWindowManager::refreshLists();
        MC::MacCaptureWindowManager::RefreshLock inventory;
        const MC::MacCaptureApplication* application = MC::MacCaptureWindowManager::getApplication(before->ownerPID);
        ASSERT_TRUE(application) << "refresh " << refresh;
        EXPECT_EQ(application->name, "XClock");
        EXPECT_EQ(ApplicationOf(clock), application);
    }
}

TEST_F(ClientIdentityTest, PidOfAWindowFromAnotherMachineIsNotTakenForTheLocalProcess) {
    // A remote client whose pid happens to be this test's own.
    const long own = long(getpid());
    const Window remote = desktop->Open({"Remote", own, "RemoteTool", kElsewhere}, 0x804020, 100, 100, 200, 150);
    const Window pidless = desktop->Open({"Remote 2", 0, "RemoteTool", kElsewhere}, 0x408020, 400, 100, 200, 150);
    const Window local = desktop->Open({"Local", own, "LocalTool", LocalHost()}, 0x204080, 700, 100, 200, 150);
    ASSERT_TRUE(remote != None && pidless != None && local != None);

    const std::optional<WindowInfo> r = Entry(*platform, remote), p = Entry(*platform, pidless),
                                    l = Entry(*platform, local);
    ASSERT_TRUE(r && p && l);
    EXPECT_NE(r->ownerPID, getpid());
    EXPECT_EQ(r->ownerName, "RemoteTool") << "not the local process with that pid";
    EXPECT_EQ(r->ownerPID, p->ownerPID) << "grouped by class and machine, as a window without a pid";
    // A pid on this machine still names its process.
    EXPECT_EQ(l->ownerPID, getpid());
    EXPECT_EQ(l->ownerName, x11::X11WindowServer::ProcessName(getpid()));

    // Not left out as one of the plug-in's own windows either.
    StartInventory();
    MC::MacCaptureWindowManager::RefreshLock inventory;
    const MC::MacCaptureApplication* application = ApplicationOf(remote);
    ASSERT_TRUE(application);
    EXPECT_EQ(application->name, "RemoteTool");
    EXPECT_EQ(ApplicationOf(local), nullptr);
}

// The rules alone, without a server.
namespace Identity = x11::X11ClientIdentity;

TEST(X11ClientIdentity, ProgramIdIsAFixedFunctionOfClassAndMachine) {
    // Pinned: hosts may keep "pid N" ids across runs, so the scheme stays.
    EXPECT_EQ(Identity::ProgramID("XEyes", "box"), 1796974436);
    EXPECT_EQ(Identity::ProgramID("XLogo", "box"), 1596521729);
    EXPECT_EQ(Identity::ProgramID("XEyes", "BOX."), Identity::ProgramID("XEyes", "box"));
    EXPECT_NE(Identity::ProgramID("XEyes", "other"), Identity::ProgramID("XEyes", "box"));
    EXPECT_NE(Identity::ProgramID("XEyes", ""), Identity::ProgramID("XEye", "s"));
    for (const char* name : {"", "XClock", "\xFF\xFF"}) {
        const int32_t id = Identity::ProgramID(name, "box");
        EXPECT_GE(id, Identity::kSyntheticBase);
        EXPECT_GE(id, kProcessIDLimit);
    }
}

TEST(X11ClientIdentity, OnlyAPlausiblePidOfThisMachineNamesAProcess) {
    using Owner = Identity::Owner;
    const auto same = [](const Owner& a, const Owner& b) { return a.id == b.id && a.isProcess == b.isProcess; };
    const std::optional<std::string> eyes = "XEyes", box = "box", far = "far.example.org";
    EXPECT_TRUE(same(Identity::Identify(1234, eyes, box, "box"), {1234, true}));
    EXPECT_TRUE(same(Identity::Identify(1234, eyes, std::nullopt, "box"), {1234, true})); // unset: trusted
    EXPECT_TRUE(same(Identity::Identify(1234, eyes, far, "box"), {Identity::ProgramID("XEyes", *far), false}));
    EXPECT_TRUE(same(Identity::Identify(std::nullopt, eyes, box, "box"), {Identity::ProgramID("XEyes", "box"), false}));
    EXPECT_TRUE(same(Identity::Identify(std::nullopt, std::nullopt, std::nullopt, "box"),
                     {Identity::ProgramID("", ""), false}));
    // No process can have these.
    const Owner byClass{Identity::ProgramID("XEyes", "box"), false};
    for (const unsigned long impossible : {0ul, (1ul << 22), 0x7FFFFFF0ul, 0xFFFFFFFFul})
        EXPECT_TRUE(same(Identity::Identify(impossible, eyes, box, "box"), byClass)) << impossible;
}

TEST(X11ClientIdentity, MachineNamesMatchIgnoringCaseDomainAndTrailingDot) {
    EXPECT_TRUE(Identity::IsThisMachine("box", "box"));
    EXPECT_TRUE(Identity::IsThisMachine("BOX", "box"));
    EXPECT_TRUE(Identity::IsThisMachine("box.example.org", "box"));
    EXPECT_TRUE(Identity::IsThisMachine("box", "box.example.org"));
    EXPECT_TRUE(Identity::IsThisMachine("box.example.org.", "box.example.org"));
    EXPECT_TRUE(Identity::IsThisMachine("localhost", "box"));
    EXPECT_TRUE(Identity::IsThisMachine("anything", "")); // this machine's name unknown
    EXPECT_FALSE(Identity::IsThisMachine("other", "box"));
    EXPECT_FALSE(Identity::IsThisMachine("box.example.org", "box.example.net"));
    EXPECT_FALSE(Identity::IsThisMachine("boxer", "box"));
    EXPECT_FALSE(Identity::IsThisMachine("", "box"));
}
