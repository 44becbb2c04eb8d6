#include <gtest/gtest.h>

#include <atomic>
#include <chrono>

#include "CaptureDriver.h"
#include "DefaultSimAudioTest.h"
#include "WaitFor.h"
#include "vnAudioVolumeMirror.h"
#include "zTraceManager.h"

namespace {

using namespace std::chrono_literals;
using qcp::coreaudio::sim::SimAudioCall;

class VolumeMirrorTest : public DefaultSimAudioTest {
protected:
    void SetUp() override {
        DefaultSimAudioTest::SetUp();
        fCapture = fSim->DeviceID(kCaptureDriverPlayedIntoUID);
        fSpeakers = fSim->DeviceID(qcp::coreaudio::sim::kSimSpeakersUID);
        ASSERT_NE(fCapture, 0u);
        ASSERT_NE(fSpeakers, 0u);
    }
    Float32 Volume(AudioObjectID device) {
        Float32 volume = -1;
        EXPECT_EQ(Volume_Get(device, volume), noErr);
        return volume;
    }
    bool Muted(AudioObjectID device) {
        bool muted = false;
        EXPECT_EQ(Mute_Get(device, muted), noErr);
        return muted;
    }
    // As the user changes the capture device's volume in the system's
    // settings: straight through the HAL.
    void UserSets(AudioObjectPropertySelector selector, const void* value, UInt32 size) {
        const AudioObjectPropertyAddress address{selector, kAudioObjectPropertyScopeOutput,
                                                 kAudioObjectPropertyElementMain};
        ASSERT_EQ(AudioObjectSetPropertyData(fCapture, &address, 0, nullptr, size, value), noErr);
    }
    void UserSetsVolume(Float32 volume) { UserSets(kAudioDevicePropertyVolumeScalar, &volume, sizeof volume); }
    void UserSetsMute(bool muted) {
        const UInt32 value = muted;
        UserSets(kAudioDevicePropertyMute, &value, sizeof value);
    }

    AudioObjectID fCapture = 0;
    AudioObjectID fSpeakers = 0;
};

// Calls of a listener of the test's own, to know when the notification
// thread has passed a change.
struct Probe {
    std::atomic<int> calls{0};
    static OSStatus Heard(AudioObjectID, UInt32, const AudioObjectPropertyAddress*, void* clientData) {
        ++static_cast<Probe*>(clientData)->calls;
        return noErr;
    }
};

TEST_F(VolumeMirrorTest, CopiesAtStartThenFollowsEveryChangeUntilRemoved) {
    // The start: the speakers' settings onto the capture device.
    ASSERT_EQ(Volume_Set(fSpeakers, 0.4f), noErr);
    ASSERT_EQ(Mute_Set(fSpeakers, true), noErr);
    ASSERT_EQ(Volume_Set(fCapture, Volume(fSpeakers)), noErr);
    ASSERT_EQ(Mute_Set(fCapture, Muted(fSpeakers)), noErr);
    EXPECT_FLOAT_EQ(Volume(fCapture), 0.4f);
    EXPECT_TRUE(Muted(fCapture));

    ASSERT_EQ(Volume_AddListener(fCapture, fSpeakers), noErr);
    ASSERT_EQ(Mute_AddListener(fCapture, fSpeakers), noErr);
    UserSetsVolume(0.7f);
    EXPECT_TRUE(WaitFor([&] { return Volume(fSpeakers) == 0.7f; }, 10s));
    UserSetsMute(false);
    EXPECT_TRUE(WaitFor([&] { return !Muted(fSpeakers); }, 10s));
    UserSetsVolume(0.1f);
    EXPECT_TRUE(WaitFor([&] { return Volume(fSpeakers) == 0.1f; }, 10s));
    EXPECT_FALSE(Muted(fSpeakers)); // a volume change leaves mute alone

    ASSERT_EQ(Volume_RemoveListener(fCapture, fSpeakers), noErr);
    ASSERT_EQ(Mute_RemoveListener(fCapture, fSpeakers), noErr);
    Probe probe;
    const AudioObjectPropertyAddress mute{kAudioDevicePropertyMute, kAudioObjectPropertyScopeOutput,
                                          kAudioObjectPropertyElementMain};
    ASSERT_EQ(AudioObjectAddPropertyListener(fCapture, &mute, &Probe::Heard, &probe), noErr);
    UserSetsVolume(0.9f);
    UserSetsMute(true);
    // The notification thread reached the later change, so it has passed
    // the earlier one.
    ASSERT_TRUE(WaitFor([&] { return probe.calls > 0; }, 10s));
    EXPECT_FLOAT_EQ(Volume(fSpeakers), 0.1f);
    EXPECT_FALSE(Muted(fSpeakers));
    AudioObjectRemovePropertyListener(fCapture, &mute, &Probe::Heard, &probe);
}

TEST_F(VolumeMirrorTest, RefusesDeviceZeroWithoutAskingTheSystem) {
    zTraceManager::Default().ClearHistory();
    const uint64_t calls = fSim->PropertyCalls();
    Float32 volume = 0.5f;
    bool muted = true;
    EXPECT_EQ(Volume_Get(0, volume), kAudioHardwareBadDeviceError);
    EXPECT_EQ(Volume_Set(0, 0.2f), kAudioHardwareBadDeviceError);
    EXPECT_EQ(Mute_Get(0, muted), kAudioHardwareBadDeviceError);
    EXPECT_EQ(Mute_Set(0, false), kAudioHardwareBadDeviceError);
    EXPECT_EQ(Volume_AddListener(0, fSpeakers), kAudioHardwareBadDeviceError);
    EXPECT_EQ(Mute_AddListener(fCapture, 0), kAudioHardwareBadDeviceError);
    EXPECT_EQ(Volume_RemoveListener(fCapture, 0), kAudioHardwareBadDeviceError);
    EXPECT_EQ(Mute_RemoveListener(0, fSpeakers), kAudioHardwareBadDeviceError);
    EXPECT_EQ(fSim->PropertyCalls(), calls);
    EXPECT_EQ(volume, 0.5f);
    EXPECT_TRUE(muted);
    int refusals = 0;
    for (const auto& entry : zTraceManager::Default().History())
        refusals += entry.text.find(": refused device id 0; nothing changed.\n") != std::string::npos;
    EXPECT_EQ(refusals, 8);
}

TEST_F(VolumeMirrorTest, ReportsTheSystemsRefusal) {
    fSim->InjectFault(fSpeakers, kAudioDevicePropertyVolumeScalar, kAudioHardwareIllegalOperationError,
                      SimAudioCall::SetData);
    EXPECT_EQ(Volume_Set(fSpeakers, 0.3f), kAudioHardwareIllegalOperationError);
    EXPECT_FLOAT_EQ(Volume(fSpeakers), 1.0f);
    // The recorded-from device has no output scope.
    bool muted = true;
    EXPECT_EQ(Mute_Get(fSim->DeviceID(kCaptureDriverRecordedFromUID), muted), kAudioHardwareUnknownPropertyError);
    EXPECT_TRUE(muted);
}

} // namespace
