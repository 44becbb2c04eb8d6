// The simulated sound system's audio: what applications play reaches the
// default output, the capture driver loops its played-into device to its
// recorded-from device, and each device keeps its own clock.
#include <gtest/gtest.h>

#include <chrono>
#include <list>
#include <optional>

#include "AllocationCounter.h"
#include "AudioUnitTestSupport.h"
#include "CaptureDriver.h"
#include "CoreAudioTestSupport.h"
#include "ManualClock.h"
#include "SimAudioSystem.h"
#include "WaitFor.h"

namespace {

using namespace coreaudio_test;
using namespace qcp::coreaudio::sim;
using namespace std::chrono_literals;

constexpr int64_t kSecond = 1'000'000;
// A little over 512 frames at 48 kHz, so that each step runs one cycle.
constexpr int64_t kPeriodMicros = 10'667;

// Counts the allocations an I/O thread makes over 50 cycles, from its second
// cycle on, while rendering or fetching input.
struct AllocationsOnIOThread {
    AudioUnit unit = nullptr;
    int calls = 0; // only on the I/O thread
    std::optional<AllocationCounter> counter;
    std::atomic<int> allocations{-1};

    static OSStatus Callback(void* refCon, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* time, UInt32 bus,
                             UInt32 frames, AudioBufferList* data) {
        auto* self = static_cast<AllocationsOnIOThread*>(refCon);
        ++self->calls;
        if (self->calls == 2) self->counter.emplace();
        if (!data) {
            AudioBufferList list{1, {{1, 0, nullptr}}};
            AudioUnitRender(self->unit, flags, time, bus, frames, &list);
        }
        if (self->calls == 52) {
            self->allocations = self->counter->count();
            self->counter.reset();
        }
        return noErr;
    }
};

class SimAudioIO : public testing::Test {
protected:
    void SetUp() override {
        auto system = CreateDefaultSimAudioSystem();
        fSystem = system.get();
        qcp::coreaudio::Install(std::move(system));
    }
    void TearDown() override {
        for (AudioUnit unit : fUnits) AudioComponentInstanceDispose(unit);
        qcp::coreaudio::Install(nullptr);
    }
    // Moves the clock period by period (512 frames at 48 kHz), waiting each
    // time until every device in `uids` has run its cycle, as real devices
    // running side by side would.
    void Play(std::initializer_list<const char*> uids, int periods) {
        std::vector<uint64_t> start;
        for (const char* uid : uids) start.push_back(fSystem->IOCycles(uid));
        for (int i = 1; i <= periods; ++i) {
            fClock.Advance(kPeriodMicros);
            size_t n = 0;
            for (const char* uid : uids) {
                const uint64_t wanted = start[n++] + i;
                ASSERT_TRUE(WaitFor([&] { return fSystem->IOCycles(uid) >= wanted; }, 10s)) << uid << " " << i;
            }
        }
    }
    AudioUnit Started(AudioObjectID device, Heard& heard, bool input) {
        AudioUnit unit = HALUnit(device, heard, input, fUnits);
        EXPECT_EQ(AudioOutputUnitStart(unit), 0);
        return unit;
    }
    AudioObjectID PlugOutput(const std::string& uid, Float64 clockRate) {
        SimAudioDeviceSetup setup;
        setup.uid = uid;
        setup.name = uid;
        setup.outputStreams = {2};
        setup.bufferFrameSize = 480;
        setup.clockRate = clockRate;
        return fSystem->AddDevice(setup);
    }

    ManualClock fClock;
    SimAudioSystem* fSystem = nullptr;
    // Outlive the units, whose callbacks report to them until disposed.
    std::list<Heard> fHeard;
    std::vector<AudioUnit> fUnits;
};

TEST_F(SimAudioIO, TheDefaultWorldsToneReachesTheSpeakers) {
    Play({kSimSpeakersUID}, 94);
    const auto recording = fSystem->Recording(kSimSpeakersUID, 48000);
    ASSERT_GE(recording.size(), 2u * 40000);
    const auto left = ChannelOf(recording, 2, 0), right = ChannelOf(recording, 2, 1);
    EXPECT_NEAR(Peak(left), DbfsToLevel(-12), 0.002);
    EXPECT_NEAR(Frequency(left, 48000), 440, 1);
    EXPECT_EQ(left, right);
}

TEST_F(SimAudioIO, RoutedToTheCaptureDriverTheToneIsRecordedFromItsOtherDevice) {
    const AudioObjectID playedInto = fSystem->DeviceID(kCaptureDriverPlayedIntoUID);
    ASSERT_EQ(Write(playedInto, Address(kCaptureDriverPropertyCanBeDefault), kCFBooleanTrue), 0);
    ASSERT_TRUE(fSystem->SetDefault(kAudioHardwarePropertyDefaultOutputDevice, kCaptureDriverPlayedIntoUID));
    const size_t spokenBefore = fSystem->Recording(kSimSpeakersUID, 96000).size();
    Heard& heard = this->fHeard.emplace_back();
    Started(fSystem->DeviceID(kCaptureDriverRecordedFromUID), heard, true);

    Play({kCaptureDriverPlayedIntoUID, kCaptureDriverRecordedFromUID}, 94);
    ASSERT_TRUE(WaitFor([&] { return heard.count >= 94; }, 10s));
    EXPECT_EQ(heard.renderStatus, noErr);
    std::vector<Float32> input;
    {
        std::lock_guard lock(heard.mutex);
        // Past the first cycles, which may come before anything was played.
        input.assign(heard.input.begin() + 4800, heard.input.end());
    }
    EXPECT_NEAR(Peak(input), DbfsToLevel(-12), 0.002);
    EXPECT_NEAR(Frequency(input, 48000), 440, 1);
    EXPECT_EQ(fSystem->Recording(kSimSpeakersUID, 96000).size(), spokenBefore) << "the speakers hear nothing more";
}

TEST_F(SimAudioIO, TheDefaultOutputUnitPlaysIntoTheDefaultOutputAsItIsWhenInitialised) {
    Heard& heard = this->fHeard.emplace_back();
    AudioUnit unit = NewOutputUnit(kAudioUnitSubType_DefaultOutput);
    ASSERT_NE(unit, nullptr);
    fUnits.push_back(unit);
    EXPECT_EQ(SetDevice(unit, fSystem->DeviceID(kSimMicrophoneUID)), kAudioUnitErr_PropertyNotWritable);
    ASSERT_EQ(SetCallback(unit, kAudioUnitProperty_SetRenderCallback, &Heard::Render, &heard), 0);
    ASSERT_EQ(AudioUnitInitialize(unit), 0);
    AudioObjectID device = kAudioObjectUnknown;
    UInt32 size = sizeof device;
    ASSERT_EQ(AudioUnitGetProperty(unit, kAudioOutputUnitProperty_CurrentDevice, kAudioUnitScope_Global, 0, &device,
                                   &size),
              0);
    EXPECT_EQ(device, fSystem->DeviceID(kSimSpeakersUID));
    ASSERT_EQ(AudioOutputUnitStart(unit), 0);
    Play({kSimSpeakersUID}, 3);
    EXPECT_TRUE(WaitFor([&] { return heard.count >= 3; }, 10s));
}

TEST_F(SimAudioIO, NothingAllocatesOnTheIOThreadsOnceRunning) {
    const AudioObjectID playedInto = fSystem->DeviceID(kCaptureDriverPlayedIntoUID);
    ASSERT_EQ(Write(playedInto, Address(kCaptureDriverPropertyCanBeDefault), kCFBooleanTrue), 0);
    ASSERT_TRUE(fSystem->SetDefault(kAudioHardwarePropertyDefaultOutputDevice, kCaptureDriverPlayedIntoUID));
    AllocationsOnIOThread output, input;
    output.unit = NewOutputUnit(kAudioUnitSubType_HALOutput);
    input.unit = NewOutputUnit(kAudioUnitSubType_HALOutput);
    fUnits = {output.unit, input.unit};
    ASSERT_EQ(SetDevice(output.unit, playedInto), 0);
    ASSERT_EQ(SetCallback(output.unit, kAudioUnitProperty_SetRenderCallback, &AllocationsOnIOThread::Callback, &output),
              0);
    ASSERT_EQ(SetDevice(input.unit, fSystem->DeviceID(kCaptureDriverRecordedFromUID)), 0);
    ASSERT_EQ(SetUInt32(input.unit, kAudioOutputUnitProperty_EnableIO, kAudioUnitScope_Output, 0, 0), 0);
    ASSERT_EQ(SetUInt32(input.unit, kAudioOutputUnitProperty_EnableIO, kAudioUnitScope_Input, 1, 1), 0);
    ASSERT_EQ(SetMonoInputFormat(input.unit), 0);
    ASSERT_EQ(SetCallback(input.unit, kAudioOutputUnitProperty_SetInputCallback, &AllocationsOnIOThread::Callback,
                          &input),
              0);
    for (AudioUnit unit : fUnits) {
        ASSERT_EQ(AudioUnitInitialize(unit), 0);
        ASSERT_EQ(AudioOutputUnitStart(unit), 0);
    }

    Play({kCaptureDriverPlayedIntoUID, kCaptureDriverRecordedFromUID}, 53);
    ASSERT_TRUE(WaitFor([&] { return output.allocations >= 0 && input.allocations >= 0; }, 10s));
    EXPECT_EQ(output.allocations, 0);
    EXPECT_EQ(input.allocations, 0);
    // The units go before the counters they report to.
    for (AudioUnit unit : fUnits) AudioComponentInstanceDispose(unit);
    fUnits.clear();
}

TEST_F(SimAudioIO, DevicesClocksDrift) {
    PlugOutput("slow", 0.995);
    PlugOutput("exact", 1.0);
    PlugOutput("fast", 1.005);
    Heard& slow = this->fHeard.emplace_back();
    Heard& exact = this->fHeard.emplace_back();
    Heard& fast = this->fHeard.emplace_back();
    Started(fSystem->DeviceID("slow"), slow, false);
    Started(fSystem->DeviceID("exact"), exact, false);
    Started(fSystem->DeviceID("fast"), fast, false);

    // 2.5 s: 248.75, 250 and 251.24 periods of 480 frames.
    fClock.Advance(5 * kSecond / 2);
    ASSERT_TRUE(WaitFor([&] { return slow.count >= 248 && exact.count >= 250 && fast.count >= 251; }, 20s));
    EXPECT_EQ(slow.count, 248);
    EXPECT_EQ(exact.count, 250);
    EXPECT_EQ(fast.count, 251);
}

} // namespace
