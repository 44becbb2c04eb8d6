#include <gtest/gtest.h>

#include "PlatformSelection.h"

#include <CoreAudio/CoreAudio.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>

#include "AudioDeviceLayer.h"
#include "TestDesktop.h"
#include "ThreadSanitizer.h"
#include "zQueue.h"
#include "zTime.h"

#ifndef QCP_HAVE_PULSE
#define QCP_HAVE_PULSE 0
#endif
#include "zUserLogHistory.h"

using namespace qcp::platform;

namespace {

std::atomic<int64_t> gNow{1'000'000};
int64_t ManualNow() { return gNow; }

class PlatformSelectionTest : public LinuxDesktopTest {
protected:
    void SetUp() override {
        LinuxDesktopTest::SetUp();
        platform.reset();
        zUserLogHistory::Default()->Clear();
    }
    void TearDown() override {
        Install(nullptr);
        zTime::SetSource(nullptr);
        unsetenv("QCP_PLATFORM");
        if (session) setenv("DISPLAY", session->display().c_str(), 1);
    }

    // Whether selection succeeded for `requested` (null: unset), afresh.
    static bool Select(const char* requested, std::string& error) {
        Install(nullptr);
        if (requested)
            setenv("QCP_PLATFORM", requested, 1);
        else
            unsetenv("QCP_PLATFORM");
        return SelectFromEnvironment(error);
    }

    // The installed platform answers like a desktop without a display, and
    // its user-log lines are returned.
    static std::vector<std::string> ExpectNoDesktop() {
        Platform* current = Current();
        EXPECT_TRUE(current && current->Name() == "linux");
        if (!current) return {};
        zQueue queue("selection test queue");
        for (int second = 0; second < 3; ++second) {
            gNow += 1'500'000; // past the pause between attempts
            EXPECT_TRUE(current->screens().list().empty());
            EXPECT_TRUE(current->windowServer().windowList(false).empty());
            EXPECT_FALSE(current->cursor().currentCursor().image);
            DisplayStreamConfig config;
            config.displayID = 1;
            config.outputWidth = config.outputHeight = 16;
            config.queue = &queue;
            config.handler = [](FrameStatus, uint64_t, Surface*, const DirtyRects&) {};
            EXPECT_FALSE(current->createDisplayStream(std::move(config)));
            EXPECT_FALSE(current->createDisplayLink(1, [](int64_t) {}));
        }
        std::vector<std::string> lines;
        for (const zUserLogHistory::Entry& entry : zUserLogHistory::Default()->Entries()) lines.push_back(entry.text);
        return lines;
    }
};

} // namespace

TEST_F(PlatformSelectionTest, InstallsWhatIsNamedAndNothingForAnUnknownName) {
    std::string error;
    EXPECT_TRUE(Select(nullptr, error));
    EXPECT_EQ(Current()->Name(), "linux");
    EXPECT_FALSE(Current()->screens().list().empty());
    EXPECT_TRUE(Select("linux", error));
    EXPECT_EQ(Current()->Name(), "linux");
    EXPECT_TRUE(Select("sim", error));
    EXPECT_EQ(Current()->Name(), "sim");
    EXPECT_EQ(error, "");

    EXPECT_FALSE(Select("beos", error));
    EXPECT_EQ(Current(), nullptr);
    EXPECT_EQ(error, "QCP_PLATFORM=beos is unknown (known: linux, sim)");
}

TEST_F(PlatformSelectionTest, WithoutAnXDisplayLinuxIsInstalledEmptyAndSaysWhyOnce) {
    zTime::SetSource(&ManualNow);
    std::string error;
    setenv("DISPLAY", ":4097", 1); // nothing listens there
    EXPECT_TRUE(Select("linux", error));
    EXPECT_EQ(ExpectNoDesktop(), std::vector<std::string>{"Screen capture: cannot open X display :4097"});

    zUserLogHistory::Default()->Clear();
    unsetenv("DISPLAY");
    EXPECT_TRUE(Select(nullptr, error));
    EXPECT_EQ(ExpectNoDesktop(), std::vector<std::string>{"Screen capture: no X display ($DISPLAY is unset)"});
    EXPECT_EQ(error, "");
}

TEST(AudioSelection, TheSoundServerByDefaultAndTheSimulatedSoundSystemOnlyWhenNamed) {
    qcp::coreaudio::Install(nullptr);
    unsetenv("QCP_PLATFORM");
    // No server answers there: the native layer says the system is not running.
    setenv("PULSE_SERVER", "unix:/nonexistent/qcp-test", 1);
    SelectAudioFromEnvironment();
    if (QCP_HAVE_PULSE && !kUnderThreadSanitizer) {
        ASSERT_NE(qcp::coreaudio::Current(), nullptr);
        EXPECT_EQ(qcp::coreaudio::Current()->Name(), "pulse");
    } else {
        EXPECT_EQ(qcp::coreaudio::Current(), nullptr) << "not built, or not usable under ThreadSanitizer";
    }
    AudioObjectID device = 0;
    UInt32 size = sizeof device;
    const AudioObjectPropertyAddress address{kAudioHardwarePropertyDefaultOutputDevice,
                                             kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMain};
    EXPECT_EQ(AudioObjectGetPropertyData(kAudioObjectSystemObject, &address, 0, nullptr, &size, &device),
              kAudioHardwareNotRunningError);

    unsetenv("PULSE_SERVER");
    qcp::coreaudio::Install(nullptr);
    setenv("QCP_PLATFORM", "sim", 1);
    SelectAudioFromEnvironment();
    qcp::coreaudio::AudioDeviceLayer* sim = qcp::coreaudio::Current();
    ASSERT_NE(sim, nullptr);
    EXPECT_EQ(sim->Name(), "sim");
    SelectAudioFromEnvironment();
    EXPECT_EQ(qcp::coreaudio::Current(), sim) << "an installed layer stays";
    qcp::coreaudio::Install(nullptr);
    unsetenv("QCP_PLATFORM");
}
