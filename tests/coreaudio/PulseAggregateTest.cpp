// Aggregate devices on the sound server, made and destroyed as the capture
// chain makes them: combine sinks behind the CoreAudio plug-in object.
#include <gtest/gtest.h>

#include <chrono>

#include "CoreAudioTestSupport.h"
#include "PulseHarness.h"
#include "SoundServers.h"
#include "vnAudioHelper.h"
#include "vnAudioRouting.h"

namespace {

using namespace coreaudio_test;
using namespace std::chrono_literals;

const AudioObjectPropertyAddress kSubDevices = Address(kAudioAggregateDevicePropertyFullSubDeviceList);

class PulseAggregateTest : public testing::TestWithParam<SoundServerKind> {
protected:
    void SetUp() override {
        if (const std::string why = fHarness.Unavailable(); !why.empty()) GTEST_SKIP() << why;
        qcp::coreaudio::Install(fHarness.Create());
        fSpeakers = DeviceForUID(fHarness.PlugOutput("speakers"));
        ASSERT_NE(fSpeakers, kAudioObjectUnknown);
    }
    void TearDown() override { qcp::coreaudio::Install(nullptr); }

    static OSStatus Destroy(AudioObjectID aggregate) {
        const auto address = Address(kAudioPlugInDestroyAggregateDevice);
        UInt32 size = sizeof aggregate;
        return AudioObjectGetPropertyData(vnAudioHelper_GetCoreAudioPluginID(), &address, 0, nullptr, &size,
                                          &aggregate);
    }
    static std::vector<std::string> SubDevices(AudioObjectID aggregate) {
        CFArrayRef array = nullptr;
        if (Read(aggregate, kSubDevices, array) != 0 || !array) return {"<unreadable>"};
        std::vector<std::string> uids;
        for (CFIndex i = 0; i < CFArrayGetCount(array); ++i)
            uids.push_back(CFStringGetCStringPtr(static_cast<CFStringRef>(CFArrayGetValueAtIndex(array, i)),
                                                 kCFStringEncodingUTF8));
        CFRelease(array);
        return uids;
    }

    static std::string Uids(const std::vector<AudioObjectID>& devices) {
        std::string uids;
        for (const AudioObjectID device : devices)
            uids += ReadString(device, Address(kAudioDevicePropertyDeviceUID)) + " ";
        return uids;
    }

    PulseHarness fHarness{GetParam()};
    AudioObjectID fSpeakers = kAudioObjectUnknown;
};

INSTANTIATE_TEST_SUITE_P(, PulseAggregateTest, EachSoundServer(), SoundServerName);

TEST_P(PulseAggregateTest, TheChainsAggregateIsACombineSinkOverItsSubDeviceUntilDestroyed) {
    const AudioObjectID aggregate = vnAudioHelper_CreateAggregateDevice(fSpeakers, nullptr, nullptr);
    ASSERT_NE(aggregate, kAudioObjectUnknown);
    EXPECT_EQ(DeviceForUID(kCaptureAggregateUID), aggregate) << "remade with its sub-device, the same device";
    EXPECT_EQ(ReadString(aggregate, Address(kAudioObjectPropertyName)), kCaptureAggregateName);
    EXPECT_EQ(SubDevices(aggregate), std::vector<std::string>{"contract.speakers"});

    // A second one under the same UID is refused, as the chain expects.
    EXPECT_EQ(vnAudioHelper_CreateAggregateDevice(fSpeakers, nullptr, nullptr), kAudioObjectUnknown);

    ASSERT_EQ(Destroy(aggregate), 0);
    EXPECT_EQ(DeviceForUID(kCaptureAggregateUID), kAudioObjectUnknown);
    EXPECT_EQ(Destroy(aggregate), kAudioHardwareBadDeviceError);
}

TEST_P(PulseAggregateTest, TidyingReplacesOneLeftByAnEarlierRunAndLeavesNone) {
    ASSERT_NE(vnAudioHelper_CreateAggregateDevice(fSpeakers, nullptr, nullptr), kAudioObjectUnknown);
    vnAudioRouting_TidyAggregate(fSpeakers);
    EXPECT_EQ(DeviceForUID(kCaptureAggregateUID), kAudioObjectUnknown);
    // A server's late answer about a module already unloaded can show for
    // a moment, until its removal is heard.
    std::vector<AudioObjectID> devices;
    EXPECT_TRUE(WaitFor(
        [&] {
            devices = ReadDevices();
            return devices == std::vector<AudioObjectID>{fSpeakers};
        },
        10s)) << Uids(devices);
}

TEST_P(PulseAggregateTest, OnlyAggregatesAreDestroyedAndOnlySinksJoinThem) {
    EXPECT_EQ(Destroy(fSpeakers), kAudioHardwareBadDeviceError);
    EXPECT_NE(DeviceForUID("contract.speakers"), kAudioObjectUnknown);

    const AudioObjectID aggregate = vnAudioHelper_CreateAggregateDevice(fSpeakers, nullptr, nullptr);
    ASSERT_NE(aggregate, kAudioObjectUnknown);
    const std::string microphone = fHarness.PlugInput("microphone");
    for (const std::string& uid : {microphone, std::string("no.such.device"), std::string(kCaptureAggregateUID)}) {
        const CFStringRef string = CFStringCreateWithCString(kCFAllocatorDefault, uid.c_str(), kCFStringEncodingUTF8);
        CFMutableArrayRef list = CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks);
        CFArrayAppendValue(list, string);
        EXPECT_EQ(Write(aggregate, kSubDevices, CFArrayRef(list)), kAudioHardwareIllegalOperationError) << uid;
        CFRelease(list);
        CFRelease(string);
    }
    EXPECT_EQ(SubDevices(aggregate), std::vector<std::string>{"contract.speakers"}) << "unchanged";
    EXPECT_EQ(Destroy(aggregate), 0);
}

} // namespace
