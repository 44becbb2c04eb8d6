// The simulated sound system's own world: the default devices, the capture
// driver's states and properties, defaults that follow unplugged devices.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "AudioDeviceLayer.h"
#include "CaptureDriver.h"
#include "CoreAudioTestSupport.h"
#include "SimAudioSystem.h"

namespace {

using namespace coreaudio_test;
using namespace qcp::coreaudio::sim;

class SimAudioWorld : public testing::Test {
protected:
    void TearDown() override {
        qcp::coreaudio::Install(nullptr);
        unsetenv("QCP_SIM_AUDIO_DRIVER");
    }
    SimAudioSystem& Start(const char* driverState = nullptr) {
        if (driverState) setenv("QCP_SIM_AUDIO_DRIVER", driverState, 1);
        auto system = CreateDefaultSimAudioSystem();
        SimAudioSystem& sim = *system;
        qcp::coreaudio::Install(std::move(system));
        return sim;
    }
    static AudioObjectID Default(AudioObjectPropertySelector selector) {
        AudioObjectID device = kAudioObjectUnknown;
        Read(kAudioObjectSystemObject, Address(selector), device);
        return device;
    }
};

TEST_F(SimAudioWorld, StartsWithTheDriverHiddenAndTheSpeakersAsBothOutputs) {
    SimAudioSystem& sim = Start();
    const AudioObjectID speakers = sim.DeviceID(kSimSpeakersUID);
    const AudioObjectID capture = DeviceForUID(kCaptureDriverPlayedIntoUID);
    ASSERT_NE(capture, kAudioObjectUnknown);
    EXPECT_NE(DeviceForUID(kCaptureDriverRecordedFromUID), kAudioObjectUnknown);

    EXPECT_EQ(ReadString(speakers, Address(kAudioObjectPropertyName)), "Simulated Speakers");
    EXPECT_EQ(Default(kAudioHardwarePropertyDefaultOutputDevice), speakers);
    EXPECT_EQ(Default(kAudioHardwarePropertyDefaultSystemOutputDevice), speakers);
    EXPECT_EQ(Default(kAudioHardwarePropertyDefaultInputDevice), sim.DeviceID(kSimMicrophoneUID));
    EXPECT_EQ(ReadString(capture, Address(kCaptureDriverPropertyVersion)), "1.0.3");

    const auto devices = ReadDevices();
    EXPECT_EQ(std::count(devices.begin(), devices.end(), capture), 0) << "hidden until made visible";
    CFBooleanRef visible = kCFBooleanTrue;
    ASSERT_EQ(Read(capture, Address(kCaptureDriverPropertyVisible), visible), 0);
    EXPECT_FALSE(CFBooleanGetValue(visible));
    ASSERT_EQ(Write(capture, Address(kCaptureDriverPropertyVisible), kCFBooleanTrue), 0);
    EXPECT_EQ(ReadDevices().front(), capture) << "the driver was plugged in first";
}

TEST_F(SimAudioWorld, TheDriverCanBeMissingOrOutdatedAtStart) {
    Start("missing");
    EXPECT_EQ(DeviceForUID(kCaptureDriverPlayedIntoUID), kAudioObjectUnknown);
    EXPECT_EQ(DeviceForUID(kCaptureDriverRecordedFromUID), kAudioObjectUnknown);

    Start("outdated");
    const AudioObjectID capture = DeviceForUID(kCaptureDriverPlayedIntoUID);
    EXPECT_EQ(ReadString(capture, Address(kCaptureDriverPropertyVersion)), "1.0.2");
}

TEST_F(SimAudioWorld, TheDriverIsInstalledAndRemovedWhileRunningWithNewIDs) {
    SimAudioSystem& sim = Start();
    const AudioObjectID before = DeviceForUID(kCaptureDriverPlayedIntoUID);
    EXPECT_FALSE(sim.InstallDriver()) << "already installed";
    ASSERT_TRUE(sim.RemoveDriver());
    EXPECT_EQ(DeviceForUID(kCaptureDriverPlayedIntoUID), kAudioObjectUnknown);
    EXPECT_FALSE(sim.RemoveDriver());

    ASSERT_TRUE(sim.InstallDriver("1.0.4"));
    const AudioObjectID after = DeviceForUID(kCaptureDriverPlayedIntoUID);
    EXPECT_NE(after, before);
    EXPECT_EQ(ReadString(after, Address(kCaptureDriverPropertyVersion)), "1.0.4");
}

TEST_F(SimAudioWorld, TheCaptureDeviceBecomesADefaultOnlyOnceAllowed) {
    Start();
    const AudioObjectID capture = DeviceForUID(kCaptureDriverPlayedIntoUID);
    const auto defaultOutput = Address(kAudioHardwarePropertyDefaultOutputDevice);
    EXPECT_EQ(Write(kAudioObjectSystemObject, defaultOutput, capture), kAudioHardwareIllegalOperationError);

    ASSERT_EQ(Write(capture, Address(kCaptureDriverPropertyCanBeDefault), kCFBooleanTrue), 0);
    EXPECT_EQ(Write(kAudioObjectSystemObject, defaultOutput, capture), 0);
    EXPECT_EQ(Default(kAudioHardwarePropertyDefaultOutputDevice), capture);
    EXPECT_NE(Default(kAudioHardwarePropertyDefaultSystemOutputDevice), capture) << "the two outputs are separate";

    const AudioObjectID recordedFrom = DeviceForUID(kCaptureDriverRecordedFromUID);
    EXPECT_EQ(Write(kAudioObjectSystemObject, defaultOutput, recordedFrom), kAudioHardwareIllegalOperationError)
        << "an input-only device is no output";
}

TEST_F(SimAudioWorld, UnpluggingTheDefaultOutputMovesItToTheNextOutput) {
    SimAudioSystem& sim = Start();
    SimAudioDeviceSetup headphones;
    headphones.uid = "usb.headphones";
    headphones.name = "USB Headphones";
    headphones.outputStreams = {2};
    const AudioObjectID added = sim.AddDevice(headphones);
    EXPECT_EQ(sim.AddDevice(headphones), kAudioObjectUnknown) << "a UID is plugged in once";

    ASSERT_TRUE(sim.RemoveDevice(kSimSpeakersUID));
    EXPECT_EQ(Default(kAudioHardwarePropertyDefaultOutputDevice), added);
    EXPECT_EQ(Default(kAudioHardwarePropertyDefaultSystemOutputDevice), added);
    ASSERT_TRUE(sim.RemoveDevice("usb.headphones"));
    EXPECT_EQ(Default(kAudioHardwarePropertyDefaultOutputDevice), kAudioObjectUnknown)
        << "the hidden capture device may not be a default";
}

TEST_F(SimAudioWorld, DeviceSettingsAreCheckedAndKept) {
    SimAudioSystem& sim = Start();
    const AudioObjectID speakers = sim.DeviceID(kSimSpeakersUID);
    const auto rate = Address(kAudioDevicePropertyNominalSampleRate);
    EXPECT_EQ(Write(speakers, rate, Float64{12345}), kAudioHardwareIllegalOperationError);
    ASSERT_EQ(Write(speakers, rate, Float64{44100}), 0);
    AudioStreamBasicDescription format{};
    ASSERT_EQ(Read(speakers, Address(kAudioDevicePropertyStreamFormat, kAudioObjectPropertyScopeOutput), format), 0);
    EXPECT_EQ(format.mSampleRate, 44100);
    EXPECT_EQ(format.mChannelsPerFrame, 2u);
    EXPECT_EQ(format.mFormatFlags, kAudioFormatFlagsNativeFloatPacked);

    const auto volume = Address(kAudioDevicePropertyVolumeScalar, kAudioObjectPropertyScopeOutput);
    ASSERT_EQ(Write(speakers, volume, Float32{3}), 0);
    Float32 level = 0;
    ASSERT_EQ(Read(speakers, volume, level), 0);
    EXPECT_EQ(level, 1.0f);
    const auto mute = Address(kAudioDevicePropertyMute, kAudioObjectPropertyScopeOutput);
    ASSERT_EQ(Write(speakers, mute, UInt32{1}), 0);
    UInt32 muted = 0;
    ASSERT_EQ(Read(speakers, mute, muted), 0);
    EXPECT_EQ(muted, 1u);
    EXPECT_EQ(Read(speakers, Address(kAudioDevicePropertyMute, kAudioObjectPropertyScopeInput), muted),
              kAudioHardwareUnknownPropertyError);
}

} // namespace
