// Device I/O on a running sound server, paced by its own clock: what a unit
// renders into a sink comes back from a source over the sink's monitor, one
// buffer-frame-size period per call; a stop holds; a device or server that
// goes ends its calls and nothing hangs.
#include <gtest/gtest.h>

#include <chrono>
#include <list>
#include <set>

#include "AudioUnitTestSupport.h"
#include "CoreAudioTestSupport.h"
#include "PulseHarness.h"
#include "WaitFor.h"

namespace {

using namespace coreaudio_test;
using namespace std::chrono_literals;

constexpr UInt32 kFrames = 480; // 10 ms at the harness's rate

class PulseDeviceIOTest : public testing::TestWithParam<SoundServerKind> {
protected:
    void SetUp() override {
        if (const std::string why = fHarness.Unavailable(); !why.empty()) GTEST_SKIP() << why;
        qcp::coreaudio::Install(fHarness.Create());
    }
    void TearDown() override {
        for (AudioUnit unit : fUnits) AudioComponentInstanceDispose(unit);
        qcp::coreaudio::Install(nullptr);
    }
    AudioObjectID WithPeriod(const std::string& uid, bool input) {
        const AudioObjectID device = DeviceForUID(uid);
        const auto scope = input ? kAudioObjectPropertyScopeInput : kAudioObjectPropertyScopeOutput;
        EXPECT_EQ(Write(device, Address(kAudioDevicePropertyBufferFrameSize, scope), kFrames), 0);
        return device;
    }
    // A sink that a unit plays `sine` into, and a source over its monitor.
    AudioObjectID PlayInto(const std::string& name, Sine& sine) {
        const AudioObjectID sink = WithPeriod(fHarness.PlugOutput(name), false);
        AudioUnit unit = NewOutputUnit(kAudioUnitSubType_HALOutput);
        fUnits.push_back(unit);
        EXPECT_EQ(SetDevice(unit, sink), 0);
        EXPECT_EQ(SetCallback(unit, kAudioUnitProperty_SetRenderCallback, &Sine::Render, &sine), 0);
        EXPECT_EQ(AudioUnitInitialize(unit), 0);
        EXPECT_EQ(AudioOutputUnitStart(unit), 0);
        return sink;
    }
    AudioUnit Record(const std::string& uid, Heard& heard) {
        AudioUnit unit = HALUnit(WithPeriod(uid, true), heard, true, fUnits);
        EXPECT_EQ(AudioOutputUnitStart(unit), 0);
        return unit;
    }
    // Waits for `calls` more calls of a unit: the server's clock as a witness.
    static bool Witness(Heard& heard, int calls) {
        const int start = heard.count;
        return WaitFor([&] { return heard.count >= start + calls; }, 10s);
    }

    PulseHarness fHarness{GetParam()};
    std::list<Heard> fHeard;
    std::vector<AudioUnit> fUnits;
};
INSTANTIATE_TEST_SUITE_P(, PulseDeviceIOTest, EachSoundServer(), SoundServerName);

TEST_P(PulseDeviceIOTest, WhatIsPlayedIntoASinkIsRecordedFromItsMonitorPeriodByPeriod) {
    Sine sine{440, PulseHarness::kRate};
    PlayInto("speakers", sine);
    const std::string monitor = fHarness.PlugMonitorSource("contract.speakers", "speakers monitor");
    Heard& heard = fHeard.emplace_back();
    Record(monitor, heard);

    ASSERT_TRUE(WaitFor([&] { std::lock_guard lock(heard.mutex); return heard.input.size() >= 48000; }, 10s));
    const AudioObjectID device = DeviceForUID(monitor);
    AudioOutputUnitStop(heard.unit);

    std::lock_guard lock(heard.mutex);
    const std::vector<Float32> lastHalfSecond(heard.input.end() - 24000, heard.input.end());
    EXPECT_NEAR(Frequency(lastHalfSecond, PulseHarness::kRate), 440, 1);
    EXPECT_NEAR(Peak(lastHalfSecond), 0.5, 0.02);
    EXPECT_TRUE(sine.continuous) << "the sink's render times skip";
    // One thread, not the test's, one period a call, times following on.
    EXPECT_EQ(std::set(heard.threads.begin(), heard.threads.end()).size(), 1U);
    EXPECT_NE(heard.threads.front(), std::this_thread::get_id());
    for (size_t i = 1; i < heard.sampleTimes.size(); ++i)
        ASSERT_EQ(heard.sampleTimes[i] - heard.sampleTimes[i - 1], kFrames) << "call " << i;
    EXPECT_NE(device, kAudioObjectUnknown);
}

TEST_P(PulseDeviceIOTest, CurrentTimeRunsAtTheDevicesRateAndAStopHolds) {
    Sine sine{440, PulseHarness::kRate};
    const AudioObjectID sink = PlayInto("clocked", sine);
    Heard& witness = fHeard.emplace_back();
    Record(fHarness.PlugInput("witness"), witness);
    ASSERT_TRUE(Witness(witness, 5));

    AudioTimeStamp first{}, second{};
    ASSERT_EQ(AudioDeviceGetCurrentTime(sink, &first), 0);
    ASSERT_TRUE(Witness(witness, 50));
    ASSERT_EQ(AudioDeviceGetCurrentTime(sink, &second), 0);
    const double seconds = double(second.mHostTime - first.mHostTime) / 1e9;
    EXPECT_NEAR((second.mSampleTime - first.mSampleTime) / seconds, PulseHarness::kRate, PulseHarness::kRate * 0.1);
    EXPECT_EQ(second.mRateScalar, 1.0);

    Heard& stopped = fHeard.emplace_back();
    AudioUnit unit = Record(fHarness.PlugInput("stopped"), stopped);
    ASSERT_TRUE(Witness(stopped, 3));
    ASSERT_EQ(AudioOutputUnitStop(unit), 0);
    stopped.afterStop = true;
    ASSERT_TRUE(Witness(witness, 10));
    EXPECT_EQ(stopped.callsAfterStop, 0);
    AudioTimeStamp idle{};
    EXPECT_EQ(AudioDeviceGetCurrentTime(DeviceForUID("contract.stopped"), &idle), kAudioHardwareNotRunningError);
}

TEST_P(PulseDeviceIOTest, ADeviceThatGoesStopsCallingAndAServerThatGoesHangsNothing) {
    Heard& witness = fHeard.emplace_back();
    Record(fHarness.PlugInput("witness"), witness);
    Heard& unplugged = fHeard.emplace_back();
    Record(fHarness.PlugInput("unplugged"), unplugged);
    ASSERT_TRUE(Witness(unplugged, 3));

    ASSERT_TRUE(fHarness.Unplug("contract.unplugged"));
    const int atUnplug = unplugged.count;
    ASSERT_TRUE(Witness(witness, 10));
    EXPECT_LE(unplugged.count, atUnplug + 1);

    // Teardown disposes the units and the layer with the server gone.
    fHarness.KillServer();
    const int atKill = witness.count;
    AudioTimeStamp time{};
    ASSERT_TRUE(WaitFor([&] { return AudioDeviceGetCurrentTime(1, &time) == kAudioHardwareNotRunningError; }, 10s));
    EXPECT_LE(witness.count, atKill + 1);
}

} // namespace
