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
#include "SteppedSimAudioTest.h"

namespace {

using namespace coreaudio_test;
using namespace qcp::coreaudio::sim;
using namespace std::chrono_literals;


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

using SimAudioIO = SteppedSimAudioTest;

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

TEST_F(SimAudioIO, TheDefaultOutputUnitPlaysIntoTheDefaultOutputUnlessGivenADevice) {
    PlugOutput("other", 1.0);
    Heard& following = this->fHeard.emplace_back();
    Heard& pinned = this->fHeard.emplace_back();
    for (Heard* heard : {&following, &pinned}) {
        AudioUnit unit = NewOutputUnit(kAudioUnitSubType_DefaultOutput);
        ASSERT_NE(unit, nullptr);
        fUnits.push_back(unit);
        if (heard == &pinned) {
            ASSERT_EQ(SetDevice(unit, fSystem->DeviceID("other")), 0);
        }
        ASSERT_EQ(SetCallback(unit, kAudioUnitProperty_SetRenderCallback, &Heard::Render, heard), 0);
        ASSERT_EQ(AudioUnitInitialize(unit), 0);
        ASSERT_EQ(AudioOutputUnitStart(unit), 0);
    }
    const auto deviceOf = [](AudioUnit unit) {
        AudioObjectID device = kAudioObjectUnknown;
        UInt32 size = sizeof device;
        AudioUnitGetProperty(unit, kAudioOutputUnitProperty_CurrentDevice, kAudioUnitScope_Global, 0, &device, &size);
        return device;
    };
    EXPECT_EQ(deviceOf(fUnits[0]), fSystem->DeviceID(kSimSpeakersUID));
    EXPECT_EQ(deviceOf(fUnits[1]), fSystem->DeviceID("other"));
    Play({kSimSpeakersUID}, 3);
    EXPECT_TRUE(WaitFor([&] { return following.count >= 3 && pinned.count >= 2; }, 10s));
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
    AudioTimeStamp time{};
    ASSERT_EQ(AudioDeviceGetCurrentTime(fSystem->DeviceID("fast"), &time), 0);
    EXPECT_DOUBLE_EQ(time.mRateScalar, 1.005) << "how the play-through learns of the drift";
    EXPECT_NEAR(time.mSampleTime, 2.5 * 48000 * 1.005, 1);
}

// Records the capture driver as a recorder does: signed 16-bit interleaved.
struct Int16Recorder {
    AudioUnit unit = nullptr;
    std::vector<SInt16> samples;
    std::atomic<int> count{0};
    std::atomic<OSStatus> status{noErr};

    static OSStatus Input(void* refCon, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* time, UInt32 bus,
                          UInt32 frames, AudioBufferList*) {
        auto& self = *static_cast<Int16Recorder*>(refCon);
        SInt16 block[2 * 1024];
        AudioBufferList list{1, {{2, UInt32(sizeof block), block}}};
        self.status = AudioUnitRender(self.unit, flags, time, bus, frames, &list);
        if (self.samples.size() + 2 * frames <= self.samples.capacity())
            self.samples.insert(self.samples.end(), block, block + 2 * frames);
        ++self.count;
        return noErr;
    }
};

TEST_F(SimAudioIO, AUnitRecordsSigned16BitSamplesAtTheDevicesRate) {
    const AudioObjectID playedInto = fSystem->DeviceID(kCaptureDriverPlayedIntoUID);
    ASSERT_EQ(Write(playedInto, Address(kCaptureDriverPropertyCanBeDefault), kCFBooleanTrue), 0);
    ASSERT_TRUE(fSystem->SetDefault(kAudioHardwarePropertyDefaultOutputDevice, kCaptureDriverPlayedIntoUID));
    Int16Recorder recorder;
    recorder.samples.reserve(2 * 48000);
    recorder.unit = NewOutputUnit(kAudioUnitSubType_HALOutput);
    fUnits.push_back(recorder.unit);
    ASSERT_EQ(SetUInt32(recorder.unit, kAudioOutputUnitProperty_EnableIO, kAudioUnitScope_Input, 1, 1), 0);
    ASSERT_EQ(SetUInt32(recorder.unit, kAudioOutputUnitProperty_EnableIO, kAudioUnitScope_Output, 0, 0), 0);
    ASSERT_EQ(SetDevice(recorder.unit, fSystem->DeviceID(kCaptureDriverRecordedFromUID)), 0);
    Float64 rate = 0;
    UInt32 size = sizeof rate;
    ASSERT_EQ(AudioUnitGetProperty(recorder.unit, kAudioUnitProperty_SampleRate, kAudioUnitScope_Output, 1, &rate,
                                   &size),
              0);
    EXPECT_EQ(rate, 48000) << "the client side follows the device until set";
    AudioStreamBasicDescription format{48000, kAudioFormatLinearPCM,
                                       kAudioFormatFlagIsSignedInteger | kAudioFormatFlagIsPacked, 4, 1, 4, 2, 16, 0};
    ASSERT_EQ(AudioUnitSetProperty(recorder.unit, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output, 1, &format,
                                   sizeof format),
              0);
    ASSERT_EQ(SetCallback(recorder.unit, kAudioOutputUnitProperty_SetInputCallback, &Int16Recorder::Input, &recorder),
              0);
    ASSERT_EQ(AudioUnitInitialize(recorder.unit), 0);
    ASSERT_EQ(AudioOutputUnitStart(recorder.unit), 0);

    Play({kCaptureDriverPlayedIntoUID, kCaptureDriverRecordedFromUID}, 50);
    ASSERT_TRUE(WaitFor([&] { return recorder.count >= 50; }, 10s));
    ASSERT_EQ(AudioOutputUnitStop(recorder.unit), 0);
    EXPECT_EQ(recorder.status, noErr);
    std::vector<Float32> left;
    for (size_t i = 2 * 4800; i < recorder.samples.size(); i += 2) {
        EXPECT_EQ(recorder.samples[i], recorder.samples[i + 1]);
        left.push_back(recorder.samples[i] / 32768.0f);
    }
    EXPECT_NEAR(Peak(left), DbfsToLevel(-12), 0.002);
    EXPECT_NEAR(Frequency(left, 48000), 440, 1);
}

} // namespace
