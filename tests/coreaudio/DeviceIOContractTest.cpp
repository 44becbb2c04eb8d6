// What every device layer owes the audio units: device I/O on one thread per
// running device, paced on the zTime clock at the device's period, and a stop
// that holds. Run over each layer's harness through the C interface alone.
#include <gtest/gtest.h>

#include <chrono>
#include <list>

#include "AudioUnitTestSupport.h"
#include "CoreAudioTestSupport.h"
#include "DeviceLayerHarness.h"
#include "ManualClock.h"
#include "WaitFor.h"

namespace {

using namespace coreaudio_test;
using namespace std::chrono_literals;

// 480 frames at 48 kHz: a cycle every 10 ms exactly.
constexpr UInt32 kFrames = 480;
constexpr int64_t kPeriodMicros = 10'000;

template <class Harness>
class DeviceIOContract : public testing::Test {
protected:
    void SetUp() override { qcp::coreaudio::Install(fHarness.Create()); }
    void TearDown() override {
        for (AudioUnit unit : fUnits) AudioComponentInstanceDispose(unit);
        qcp::coreaudio::Install(nullptr);
    }

    // A device plugged in with a 10 ms period.
    AudioObjectID Plug(const std::string& name, bool input = false) {
        const AudioObjectID device =
            DeviceForUID(input ? fHarness.PlugInput(name) : fHarness.PlugOutput(name));
        const auto scope = input ? kAudioObjectPropertyScopeInput : kAudioObjectPropertyScopeOutput;
        EXPECT_EQ(Write(device, Address(kAudioDevicePropertyNominalSampleRate), Float64{48000}), 0);
        EXPECT_EQ(Write(device, Address(kAudioDevicePropertyBufferFrameSize, scope), kFrames), 0);
        return device;
    }
    // An initialised HAL unit playing into `device` (or recording from it),
    // reporting to `heard`.
    AudioUnit Unit(AudioObjectID device, Heard& heard, bool input = false) {
        return HALUnit(device, heard, input, fUnits);
    }
    // Moves the clock period by period, waiting for each to be heard.
    void Advance(int periods, Heard& heard) {
        const int start = heard.count;
        for (int i = 1; i <= periods; ++i) {
            fClock.Advance(kPeriodMicros);
            ASSERT_TRUE(WaitFor([&] { return heard.count >= start + i; }, 10s)) << "period " << i;
        }
    }

    ManualClock fClock;
    Harness fHarness;
    // Outlive the units, whose callbacks report to them until disposed.
    std::list<Heard> fHeard;
    std::vector<AudioUnit> fUnits;
};

using Harnesses = testing::Types<SimHarness>;
TYPED_TEST_SUITE(DeviceIOContract, Harnesses);

TYPED_TEST(DeviceIOContract, EachDeviceCallsItsUnitsOnItsOwnThreadOncePerPeriod) {
    Heard& first = this->fHeard.emplace_back();
    Heard& second = this->fHeard.emplace_back();
    Heard& sameDevice = this->fHeard.emplace_back();
    const AudioObjectID a = this->Plug("a"), b = this->Plug("b");
    const UInt64 started = AudioGetCurrentHostTime();
    ASSERT_EQ(AudioOutputUnitStart(this->Unit(a, first)), 0);
    ASSERT_EQ(AudioOutputUnitStart(this->Unit(b, second)), 0);
    ASSERT_EQ(AudioOutputUnitStart(this->Unit(a, sameDevice)), 0);

    this->Advance(10, first);
    ASSERT_TRUE(WaitFor([&] { return second.count >= 10 && sameDevice.count >= 10; }, 10s));
    EXPECT_EQ(first.count, 10);
    EXPECT_EQ(second.count, 10);
    EXPECT_EQ(sameDevice.count, 10);

    const auto threadsA = first.Threads(), threadsB = second.Threads(), threadsShared = sameDevice.Threads();
    EXPECT_NE(threadsA[0], std::this_thread::get_id());
    EXPECT_NE(threadsA[0], threadsB[0]) << "each running device has its own thread";
    EXPECT_EQ(threadsA[0], threadsShared[0]) << "one thread per device, for all its units";
    for (const auto& thread : threadsA) EXPECT_EQ(thread, threadsA[0]);
    // Each cycle comes a period after the last, the first a period after the
    // start; a render is stamped with when its output plays, a period later.
    std::lock_guard lock(first.mutex);
    for (size_t i = 0; i < first.hostTimes.size(); ++i)
        EXPECT_EQ(AudioConvertHostTimeToNanos(first.hostTimes[i] - started), (i + 2) * kPeriodMicros * 1000) << i;
    for (size_t i = 1; i < first.sampleTimes.size(); ++i)
        EXPECT_EQ(first.sampleTimes[i] - first.sampleTimes[i - 1], kFrames);
}

TYPED_TEST(DeviceIOContract, AnInputCallbackFetchesEachCyclesInput) {
    Heard& heard = this->fHeard.emplace_back();
    const AudioObjectID device = this->Plug("in", true);
    AudioUnit unit = this->Unit(device, heard, true);
    UInt32 frames = 0;
    AudioBufferList list{1, {{1, 0, nullptr}}};
    const AudioTimeStamp time{};
    EXPECT_EQ(AudioUnitRender(unit, nullptr, &time, 1, frames, &list), kAudioUnitErr_CannotDoInCurrentContext)
        << "input is only there during the input callback";
    ASSERT_EQ(AudioOutputUnitStart(unit), 0);

    this->Advance(5, heard);
    EXPECT_EQ(heard.count, 5);
    EXPECT_EQ(heard.renderStatus, noErr);
    EXPECT_NE(heard.Threads()[0], std::this_thread::get_id());
    std::lock_guard lock(heard.mutex);
    EXPECT_EQ(heard.input.size(), 5 * kFrames);
}

TYPED_TEST(DeviceIOContract, NoCallbackAfterStopReturns) {
    Heard& stopped = this->fHeard.emplace_back();
    Heard& sentinel = this->fHeard.emplace_back();
    const AudioObjectID device = this->Plug("stop");
    AudioUnit unit = this->Unit(device, stopped);
    ASSERT_EQ(AudioOutputUnitStart(unit), 0);
    ASSERT_EQ(AudioOutputUnitStart(this->Unit(device, sentinel)), 0);
    // Many cycles due at once, so the stop lands while they run back to back.
    this->fClock.Advance(500 * kPeriodMicros);
    ASSERT_TRUE(WaitFor([&] { return stopped.count >= 50; }, 10s));

    ASSERT_EQ(AudioOutputUnitStop(unit), 0);
    stopped.afterStop = true;
    const int atStop = stopped.count;
    ASSERT_TRUE(WaitFor([&] { return sentinel.count >= 500; }, 10s));
    EXPECT_EQ(stopped.callsAfterStop, 0);
    EXPECT_EQ(stopped.count, atStop);
    UInt32 running = 1, size = sizeof running;
    ASSERT_EQ(AudioUnitGetProperty(unit, kAudioOutputUnitProperty_IsRunning, kAudioUnitScope_Global, 0, &running,
                                   &size),
              0);
    EXPECT_EQ(running, 0u);
}

TYPED_TEST(DeviceIOContract, AUnitStoppingItselfIsNotCalledAgain) {
    Heard& self = this->fHeard.emplace_back();
    Heard& sentinel = this->fHeard.emplace_back();
    const AudioObjectID device = this->Plug("self");
    self.stopInside = true;
    ASSERT_EQ(AudioOutputUnitStart(this->Unit(device, self)), 0);
    ASSERT_EQ(AudioOutputUnitStart(this->Unit(device, sentinel)), 0);
    this->Advance(3, sentinel);
    EXPECT_EQ(self.count, 1);
}

TYPED_TEST(DeviceIOContract, UnitCallsFailAsTheLayerAndTheUnitSay) {
    AudioUnit unit = NewOutputUnit(kAudioUnitSubType_HALOutput);
    this->fUnits.push_back(unit);
    EXPECT_EQ(AudioOutputUnitStart(unit), kAudioUnitErr_Uninitialized);
    EXPECT_EQ(AudioUnitInitialize(unit), kAudioUnitErr_NoConnection) << "no output device at all";
    const AudioObjectID device = this->Plug("faulty");
    EXPECT_EQ(AudioUnitInitialize(unit), 0) << "a unit not given a device plays to the default output";
    AudioObjectID current = kAudioObjectUnknown;
    UInt32 size = sizeof current;
    ASSERT_EQ(AudioUnitGetProperty(unit, kAudioOutputUnitProperty_CurrentDevice, kAudioUnitScope_Global, 0, &current,
                                   &size),
              0);
    EXPECT_EQ(current, device);
    ASSERT_EQ(SetDevice(unit, device), 0);
    EXPECT_EQ(SetUInt32(unit, kAudioOutputUnitProperty_EnableIO, kAudioUnitScope_Input, 0, 1),
              kAudioUnitErr_InvalidElement);
    EXPECT_EQ(SetUInt32(unit, kAudioOutputUnitProperty_CurrentDevice, kAudioUnitScope_Output, 0, device),
              kAudioUnitErr_InvalidScope);
    EXPECT_EQ(SetUInt32(unit, FourCharCode{9999}, kAudioUnitScope_Global, 0, 1), kAudioUnitErr_InvalidProperty);
    EXPECT_EQ(SetUInt32(unit, kAudioOutputUnitProperty_IsRunning, kAudioUnitScope_Global, 0, 1),
              kAudioUnitErr_PropertyNotWritable);
    EXPECT_EQ(SetUInt32(unit, kAudioOutputUnitProperty_EnableIO, kAudioUnitScope_Input, 1, 1), 0);
    EXPECT_EQ(AudioUnitInitialize(unit), kAudioUnitErr_NoConnection) << "input enabled on an output-only device";
    EXPECT_EQ(SetUInt32(unit, kAudioOutputUnitProperty_EnableIO, kAudioUnitScope_Input, 1, 0), 0);

    this->fHarness.InjectFault(device, kAudioDevicePropertyNominalSampleRate, kAudioDevicePermissionsError);
    EXPECT_EQ(AudioUnitInitialize(unit), kAudioDevicePermissionsError);
    this->fHarness.ClearFaults();
    ASSERT_EQ(AudioUnitInitialize(unit), 0);
    EXPECT_EQ(SetUInt32(unit, kAudioOutputUnitProperty_EnableIO, kAudioUnitScope_Input, 1, 1), 0);
    EXPECT_EQ(AudioOutputUnitStart(unit), kAudioUnitErr_Uninitialized)
        << "a change that cannot be initialised leaves the unit uninitialised";
    EXPECT_EQ(SetUInt32(unit, kAudioOutputUnitProperty_EnableIO, kAudioUnitScope_Input, 1, 0), 0);
    ASSERT_EQ(AudioUnitInitialize(unit), 0);

    this->fHarness.InjectStartFault(device, kAudioHardwareIllegalOperationError);
    EXPECT_EQ(AudioOutputUnitStart(unit), kAudioHardwareIllegalOperationError);
    this->fHarness.ClearFaults();
    ASSERT_TRUE(this->fHarness.Unplug("contract.faulty"));
    EXPECT_EQ(AudioOutputUnitStart(unit), kAudioHardwareBadDeviceError);
}

TYPED_TEST(DeviceIOContract, CurrentTimeIsWhereTheRunningDevicesClockIs) {
    Heard& heard = this->fHeard.emplace_back();
    const AudioObjectID device = this->Plug("clock");
    AudioTimeStamp time{};
    EXPECT_EQ(AudioDeviceGetCurrentTime(device, &time), kAudioHardwareNotRunningError);
    EXPECT_EQ(AudioDeviceGetCurrentTime(device + 1000, &time), kAudioHardwareBadDeviceError);
    EXPECT_EQ(AudioDeviceGetCurrentTime(device, nullptr), kAudio_ParamError);
    ASSERT_EQ(AudioOutputUnitStart(this->Unit(device, heard)), 0);
    this->Advance(10, heard);
    this->fClock.Advance(kPeriodMicros / 2);
    ASSERT_EQ(AudioDeviceGetCurrentTime(device, &time), 0);
    EXPECT_DOUBLE_EQ(time.mSampleTime, 10.5 * kFrames);
    EXPECT_EQ(time.mHostTime, AudioGetCurrentHostTime());
    EXPECT_DOUBLE_EQ(time.mRateScalar, 1.0);
    EXPECT_TRUE(time.mFlags & kAudioTimeStampRateScalarValid);
}

TYPED_TEST(DeviceIOContract, TheDevicesBufferSizeIsReadAndWrittenThroughAUnit) {
    const AudioObjectID device = this->Plug("buffer");
    AudioUnit unit = NewOutputUnit(kAudioUnitSubType_HALOutput);
    this->fUnits.push_back(unit);
    UInt32 frames = 0, size = sizeof frames;
    ASSERT_EQ(SetDevice(unit, device), 0);
    ASSERT_EQ(AudioUnitGetProperty(unit, kAudioDevicePropertyBufferFrameSize, kAudioUnitScope_Global, 0, &frames,
                                   &size),
              0);
    EXPECT_EQ(frames, kFrames);
    ASSERT_EQ(SetUInt32(unit, kAudioDevicePropertyBufferFrameSize, kAudioUnitScope_Global, 0, 256), 0);
    ASSERT_EQ(Read(device, Address(kAudioDevicePropertyBufferFrameSize, kAudioObjectPropertyScopeOutput), frames), 0);
    EXPECT_EQ(frames, 256u);
}

} // namespace
