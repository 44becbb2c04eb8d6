// The varispeed unit: what it pulls, at which times, and what it renders.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "AllocationCounter.h"
#include "AudioUnitTestSupport.h"

namespace {

using namespace coreaudio_test;

class Varispeed : public testing::Test {
protected:
    void SetUp() override {
        const AudioComponentDescription description{kAudioUnitType_FormatConverter, kAudioUnitSubType_Varispeed,
                                                    kAudioUnitManufacturer_Apple, 0, 0};
        ASSERT_EQ(AudioComponentInstanceNew(AudioComponentFindNext(nullptr, &description), &fUnit), 0);
    }
    void TearDown() override { AudioComponentInstanceDispose(fUnit); }

    OSStatus SetFormat(AudioUnitScope scope, const AudioStreamBasicDescription& format) {
        return AudioUnitSetProperty(fUnit, kAudioUnitProperty_StreamFormat, scope, 0, &format, sizeof format);
    }
    void Configure(Sine& sine, Float64 outputRate) {
        ASSERT_EQ(SetFormat(kAudioUnitScope_Input, FloatFormat(sine.rate, 2, false)), 0);
        ASSERT_EQ(SetFormat(kAudioUnitScope_Output, FloatFormat(outputRate, 2, true)), 0);
        ASSERT_EQ(SetCallback(fUnit, kAudioUnitProperty_SetRenderCallback, &Sine::Render, &sine), 0);
        ASSERT_EQ(AudioUnitInitialize(fUnit), 0);
    }
    // Renders `blocks` blocks of 512 frames of interleaved stereo; the left
    // channel of what came out.
    std::vector<Float32> Render(int blocks, OSStatus* status = nullptr) {
        std::vector<Float32> left;
        std::vector<Float32> block(2 * 512);
        for (int i = 0; i < blocks; ++i) {
            AudioBufferList list{1, {{2, UInt32(block.size() * sizeof(Float32)), block.data()}}};
            AudioTimeStamp time{};
            time.mSampleTime = fOutputTime;
            time.mFlags = kAudioTimeStampSampleTimeValid;
            fOutputTime += 512;
            const OSStatus result = AudioUnitRender(fUnit, nullptr, &time, 0, 512, &list);
            if (status) *status = result;
            for (size_t f = 0; f < 512; ++f) left.push_back(block[2 * f]);
        }
        return left;
    }

    AudioUnit fUnit = nullptr;
    Float64 fOutputTime = 1000;
};

TEST_F(Varispeed, PlaysItsInputAtTheOutputRateTimesThePlaybackRate) {
    Sine sine{1000, 48000};
    Configure(sine, 44100);
    const auto normal = Render(200);
    EXPECT_TRUE(sine.continuous) << "the input's time line follows on from the frames pulled";
    EXPECT_NEAR(Frequency({normal.begin() + 4096, normal.end()}, 44100), 1000, 1);
    EXPECT_NEAR(Peak({normal.begin() + 4096, normal.end()}), 0.5, 0.01);
    EXPECT_NEAR(double(sine.frames), 200 * 512 * 48000.0 / 44100, 1024) << "pulls at the input rate";

    ASSERT_EQ(AudioUnitSetParameter(fUnit, kVarispeedParam_PlaybackRate, kAudioUnitScope_Global, 0, 1.25f, 0), 0);
    const uint64_t before = sine.frames;
    const auto faster = Render(200);
    EXPECT_NEAR(Frequency({faster.begin() + 4096, faster.end()}, 44100), 1250, 1.5);
    EXPECT_NEAR(double(sine.frames - before), 1.25 * 200 * 512 * 48000.0 / 44100, 1024);
    EXPECT_TRUE(sine.continuous);
}

TEST_F(Varispeed, RateAndCentsAreOneParameterKeptInRange) {
    AudioUnitParameterValue value = 0;
    ASSERT_EQ(AudioUnitSetParameter(fUnit, kVarispeedParam_PlaybackCents, kAudioUnitScope_Global, 0, 1200, 0), 0);
    ASSERT_EQ(AudioUnitGetParameter(fUnit, kVarispeedParam_PlaybackRate, kAudioUnitScope_Global, 0, &value), 0);
    EXPECT_FLOAT_EQ(value, 2.0f);
    ASSERT_EQ(AudioUnitSetParameter(fUnit, kVarispeedParam_PlaybackRate, kAudioUnitScope_Global, 0, 10, 0), 0);
    ASSERT_EQ(AudioUnitGetParameter(fUnit, kVarispeedParam_PlaybackRate, kAudioUnitScope_Global, 0, &value), 0);
    EXPECT_FLOAT_EQ(value, 4.0f);
    ASSERT_EQ(AudioUnitGetParameter(fUnit, kVarispeedParam_PlaybackCents, kAudioUnitScope_Global, 0, &value), 0);
    EXPECT_FLOAT_EQ(value, 2400.0f);
    EXPECT_EQ(AudioUnitSetParameter(fUnit, kVarispeedParam_PlaybackRate, kAudioUnitScope_Global, 0, NAN, 0),
              kAudioUnitErr_InvalidParameter);
    EXPECT_EQ(AudioUnitSetParameter(fUnit, 7, kAudioUnitScope_Global, 0, 1, 0), kAudioUnitErr_InvalidParameter);
    EXPECT_EQ(AudioUnitSetParameter(fUnit, 0, kAudioUnitScope_Input, 0, 1, 0), kAudioUnitErr_InvalidScope);
    EXPECT_EQ(AudioUnitGetParameter(fUnit, 0, kAudioUnitScope_Global, 1, &value), kAudioUnitErr_InvalidElement);
}

TEST_F(Varispeed, RefusesWhatItCannotDo) {
    OSStatus status = noErr;
    Render(1, &status);
    EXPECT_EQ(status, kAudioUnitErr_Uninitialized);
    AudioStreamBasicDescription mono = FloatFormat(48000, 2, true);
    mono.mChannelsPerFrame = 1;
    mono.mBytesPerFrame = mono.mBytesPerPacket = 4;
    ASSERT_EQ(SetFormat(kAudioUnitScope_Input, mono), 0);
    EXPECT_EQ(AudioUnitInitialize(fUnit), kAudioUnitErr_FormatNotSupported) << "channels must match";
    AudioStreamBasicDescription int16 = FloatFormat(48000, 2, true);
    int16.mFormatFlags = kAudioFormatFlagIsSignedInteger | kAudioFormatFlagIsPacked;
    int16.mBitsPerChannel = 16;
    EXPECT_EQ(SetFormat(kAudioUnitScope_Output, int16), kAudioUnitErr_FormatNotSupported);

    Sine sine{1000, 48000};
    Configure(sine, 48000);
    EXPECT_EQ(SetFormat(kAudioUnitScope_Output, FloatFormat(44100, 2, true)), kAudioUnitErr_Initialized);
    std::vector<Float32> block(2 * 8192);
    AudioBufferList list{1, {{2, UInt32(block.size() * sizeof(Float32)), block.data()}}};
    const AudioTimeStamp time{};
    EXPECT_EQ(AudioUnitRender(fUnit, nullptr, &time, 0, 8192, &list), kAudioUnitErr_TooManyFramesToProcess);
    EXPECT_EQ(AudioUnitRender(fUnit, nullptr, &time, 1, 512, &list), kAudioUnitErr_InvalidElement);
}

TEST_F(Varispeed, AFailingInputIsSilenceAndItsStatus) {
    Sine sine{1000, 48000};
    Configure(sine, 48000);
    Render(10);
    sine.status = -1234;
    OSStatus status = noErr;
    const auto silent = Render(1, &status);
    EXPECT_EQ(status, -1234);
    EXPECT_EQ(Peak(silent), 0.0f);
    sine.status = noErr;
    const auto again = Render(20, &status);
    EXPECT_EQ(status, noErr);
    EXPECT_NEAR(Peak(again), 0.5, 0.01) << "plays on once the input returns";
}

TEST_F(Varispeed, RenderingAllocatesNothing) {
    Sine sine{1000, 48000};
    Configure(sine, 44100);
    Render(4);
    ASSERT_EQ(AudioUnitSetParameter(fUnit, kVarispeedParam_PlaybackRate, kAudioUnitScope_Global, 0, 1.005f, 0), 0);
    std::vector<Float32> block(2 * 512);
    AllocationCounter counter;
    for (int i = 0; i < 50; ++i) {
        AudioBufferList list{1, {{2, UInt32(block.size() * sizeof(Float32)), block.data()}}};
        const AudioTimeStamp time{};
        AudioUnitRender(fUnit, nullptr, &time, 0, 512, &list);
    }
    EXPECT_EQ(counter.count(), 0);
}

} // namespace
