#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <mutex>
#include <optional>
#include <vector>

#include "AllocationCounter.h"
#include "AudioUnitTestSupport.h"
#include "SteppedSimAudioTest.h"
#include "vnAudioOutput.h"

namespace {

using namespace coreaudio_test;

constexpr const char* kOutputUID = "test.speaker-output";
constexpr UInt32 kBlockFrames = 480; // the plugged device's period
constexpr Float64 kRate = 48000;

AudioStreamBasicDescription ClientFormat(bool isFloat, Float64 rate = kRate) {
    AudioStreamBasicDescription format{};
    format.mSampleRate = rate;
    format.mFormatID = kAudioFormatLinearPCM;
    format.mFormatFlags = isFloat ? kAudioFormatFlagsNativeFloatPacked
                                  : (kAudioFormatFlagIsSignedInteger | kAudioFormatFlagIsPacked);
    format.mFramesPerPacket = 1;
    format.mChannelsPerFrame = 2;
    format.mBitsPerChannel = isFloat ? 32 : 16;
    format.mBytesPerFrame = format.mBytesPerPacket = 2 * format.mBitsPerChannel / 8;
    return format;
}

// `frames` stereo frames of a signal in signed 16-bit, from frame `start`.
template <class Signal>
std::vector<int16_t> Block16(Signal signal, uint64_t start, UInt32 frames = kBlockFrames) {
    std::vector<int16_t> block;
    for (UInt32 f = 0; f < frames; ++f) {
        const auto sample = static_cast<int16_t>(std::lround(signal(start + f) * 32768.0));
        block.push_back(sample);
        block.push_back(sample);
    }
    return block;
}

size_t CountEqual(const std::vector<Float32>& samples, Float32 value) {
    size_t n = 0;
    for (const Float32 sample : samples) n += sample == value;
    return n;
}

class AudioOutputTest : public SteppedSimAudioTest {
protected:
    void SetUp() override {
        SteppedSimAudioTest::SetUp();
        // Not the default output, so the world's tone does not play into it.
        fDevice = PlugOutput(kOutputUID, 1);
        ASSERT_NE(fDevice, 0u);
    }
    std::vector<Float32> Heard(UInt32 frames) const { return fSystem->Recording(kOutputUID, frames); }

    AudioObjectID fDevice = 0;
};

TEST_F(AudioOutputTest, PlaysTheOfferedSineOnTheDevice) {
    vnAudioOutput output;
    ASSERT_EQ(output.Start(fDevice, ClientFormat(false)), noErr);
    const auto sine = [](uint64_t frame) { return 0.25 * std::sin(2 * M_PI * 1000 * double(frame) / kRate); };
    // A few blocks ahead, as a step of the clock may run the device twice.
    for (int i = 0; i < 33; ++i) {
        const std::vector<int16_t> block = Block16(sine, uint64_t(i) * kBlockFrames);
        ASSERT_TRUE(output.Queue().Offer(block.data(), UInt32(block.size() * sizeof(int16_t))));
        if (i >= 3) Play({kOutputUID}, 1);
    }
    const std::vector<Float32> heard = Heard(20 * kBlockFrames);
    for (size_t channel : {0, 1}) {
        const std::vector<Float32> samples = ChannelOf(heard, 2, channel);
        EXPECT_NEAR(Frequency(samples, kRate), 1000, 2) << channel;
        EXPECT_NEAR(Peak(samples), 0.25, 0.002) << channel;
    }
    EXPECT_EQ(output.Queue().Dropped(), 0u);
}

// Each block plays once, in full, and only silence surrounds it: a level the
// device would repeat or a frame it would lose shows in the count.
TEST_F(AudioOutputTest, PlaysSilenceForWhatIsMissing) {
    for (const bool isFloat : {false, true}) {
        SCOPED_TRACE(isFloat ? "float32" : "int16");
        vnAudioOutput output;
        ASSERT_EQ(output.Start(fDevice, ClientFormat(isFloat)), noErr);
        Play({kOutputUID}, 4);
        EXPECT_EQ(Peak(Heard(4 * kBlockFrames)), 0.0f);

        const UInt32 frames = 2 * kBlockFrames + 100; // not a whole period: the last one is part silence
        if (isFloat) {
            const std::vector<Float32> block(2 * frames, 0.25f);
            ASSERT_TRUE(output.Queue().Offer(block.data(), UInt32(block.size() * sizeof(Float32))));
        } else {
            const std::vector<int16_t> block = Block16([](uint64_t) { return 0.25; }, 0, frames);
            ASSERT_TRUE(output.Queue().Offer(block.data(), UInt32(block.size() * sizeof(int16_t))));
        }
        Play({kOutputUID}, 6);
        const std::vector<Float32> heard = Heard(10 * kBlockFrames);
        EXPECT_EQ(CountEqual(heard, 0.25f), 2 * frames);
        EXPECT_EQ(CountEqual(heard, 0.0f), heard.size() - 2 * frames);
        EXPECT_EQ(output.Queue().Available(), 0u);
        ASSERT_EQ(output.Stop(), noErr);
    }
}

TEST_F(AudioOutputTest, RefusesWhatItCannotPlay) {
    vnAudioOutput output;
    EXPECT_EQ(output.Start(0, ClientFormat(false)), kAudioHardwareBadDeviceError);
    AudioStreamBasicDescription twentyFour = ClientFormat(false);
    twentyFour.mBitsPerChannel = 24;
    twentyFour.mBytesPerFrame = twentyFour.mBytesPerPacket = 6;
    EXPECT_EQ(output.Start(fDevice, twentyFour), kAudioUnitErr_FormatNotSupported);
    AudioStreamBasicDescription planar = ClientFormat(true);
    planar.mFormatFlags |= kAudioFormatFlagIsNonInterleaved;
    planar.mBytesPerFrame = planar.mBytesPerPacket = 4;
    EXPECT_EQ(output.Start(fDevice, planar), kAudioUnitErr_FormatNotSupported);
    // The unit refuses a rate the device does not run at, and is gone again.
    EXPECT_NE(output.Start(fDevice, ClientFormat(false, 44100)), noErr);
    EXPECT_EQ(output.Stop(), kAudioUnitErr_Uninitialized);
    // A device without outputs.
    EXPECT_NE(output.Start(fSystem->DeviceID(qcp::coreaudio::sim::kSimMicrophoneUID), ClientFormat(false)), noErr);

    ASSERT_EQ(output.Start(fDevice, ClientFormat(false)), noErr);
    EXPECT_EQ(output.Start(fDevice, ClientFormat(false)), kAudioUnitErr_Initialized);
}

// The recorder's stop sequence: stop, uninitialise, dispose, then empty the
// queue under its lock.
TEST_F(AudioOutputTest, StopsAndEmptiesAsTheRecorderDoes) {
    vnAudioOutput output;
    ASSERT_EQ(output.Start(fDevice, ClientFormat(false)), noErr);
    Play({kOutputUID}, 2);
    EXPECT_EQ(output.Stop(), noErr);
    EXPECT_EQ(output.Uninitialize(), noErr);
    output.Dispose();
    const uint64_t cycles = fSystem->IOCycles(kOutputUID);
    const std::vector<int16_t> block = Block16([](uint64_t) { return 0.5; }, 0);
    ASSERT_TRUE(output.Queue().Offer(block.data(), UInt32(block.size() * sizeof(int16_t))));
    fClock.Advance(5 * kPeriodMicros);
    // Nothing renders any more: the block stays queued until it is cleared.
    EXPECT_EQ(output.Queue().Available(), block.size() * sizeof(int16_t));
    {
        std::lock_guard lock(output.Queue().Mutex());
        output.Queue().ClearAvailable();
    }
    EXPECT_EQ(output.Queue().Available(), 0u);
    EXPECT_EQ(fSystem->IOCycles(kOutputUID), cycles);
    EXPECT_EQ(output.Stop(), kAudioUnitErr_Uninitialized);
    EXPECT_EQ(output.Uninitialize(), kAudioUnitErr_Uninitialized);
}

TEST(AudioOutputQueue, KeepsBlocksWholeInOrderAndCountsDrops) {
    const UInt32 blockBytes = 100;
    vnAudioOutputQueue queue(3 * blockBytes + 50);
    std::vector<uint8_t> block(blockBytes);
    for (uint8_t i = 1; i <= 5; ++i) {
        std::fill(block.begin(), block.end(), i);
        EXPECT_EQ(queue.Offer(block.data(), blockBytes), i <= 3) << int(i);
    }
    EXPECT_EQ(queue.Dropped(), 2u);
    EXPECT_EQ(queue.Available(), 3 * blockBytes);
    EXPECT_FALSE(queue.Offer(nullptr, blockBytes));
    EXPECT_FALSE(queue.Offer(block.data(), 0));
    EXPECT_EQ(queue.Dropped(), 2u);

    // Taken across block edges and around the end of the storage.
    std::vector<uint8_t> out(150);
    EXPECT_EQ(queue.Take(out.data(), 150), 150u);
    EXPECT_EQ(out[99], 1);
    EXPECT_EQ(out[100], 2);
    std::fill(block.begin(), block.end(), 6);
    EXPECT_TRUE(queue.Offer(block.data(), blockBytes)); // wraps
    std::vector<uint8_t> rest(400, 0xFF);
    EXPECT_EQ(queue.Take(rest.data(), 400), 250u);
    EXPECT_EQ(rest[0], 2);
    EXPECT_EQ(rest[49], 2);
    EXPECT_EQ(rest[50], 3);
    EXPECT_EQ(rest[150], 6);
    EXPECT_EQ(rest[249], 6);
    EXPECT_EQ(rest[250], 0); // silence for the missing part
    EXPECT_EQ(rest[399], 0);

    EXPECT_TRUE(queue.Offer(block.data(), blockBytes));
    {
        std::lock_guard lock(queue.Mutex());
        queue.ClearAvailable();
    }
    EXPECT_EQ(queue.Take(out.data(), 150), 0u);
    EXPECT_EQ(out[0], 0);
    // A block larger than the whole queue is dropped, never split.
    std::vector<uint8_t> huge(queue.Capacity() + 1, 7);
    EXPECT_FALSE(queue.Offer(huge.data(), UInt32(huge.size())));
    EXPECT_EQ(queue.Dropped(), 3u);
}

// A unit on the same device shares its I/O thread: its callback keeps a
// counter open over 50 cycles in which the speaker output renders.
struct RenderThreadAllocations {
    int calls = 0; // only on the I/O thread
    std::optional<AllocationCounter> counter;
    std::atomic<int> allocations{-1};

    static OSStatus Render(void* refCon, AudioUnitRenderActionFlags*, const AudioTimeStamp*, UInt32, UInt32,
                           AudioBufferList* data) {
        auto* self = static_cast<RenderThreadAllocations*>(refCon);
        for (UInt32 b = 0; b < data->mNumberBuffers; ++b)
            std::fill_n(static_cast<uint8_t*>(data->mBuffers[b].mData), data->mBuffers[b].mDataByteSize, 0);
        if (++self->calls == 2) self->counter.emplace();
        if (self->calls == 52) {
            self->allocations = self->counter->count();
            self->counter.reset();
        }
        return noErr;
    }
};

TEST_F(AudioOutputTest, OffersAndRendersWithoutAllocating) {
    vnAudioOutput output;
    RenderThreadAllocations spy;
    AudioUnit unit = NewOutputUnit(kAudioUnitSubType_HALOutput);
    fUnits.push_back(unit);
    ASSERT_EQ(SetDevice(unit, fDevice), noErr);
    ASSERT_EQ(SetCallback(unit, kAudioUnitProperty_SetRenderCallback, &RenderThreadAllocations::Render, &spy), noErr);
    ASSERT_EQ(AudioUnitInitialize(unit), noErr);
    ASSERT_EQ(AudioOutputUnitStart(unit), noErr);
    ASSERT_EQ(output.Start(fDevice, ClientFormat(false)), noErr);

    const std::vector<int16_t> block = Block16([](uint64_t) { return 0.25; }, 0);
    int offerAllocations = 0;
    for (int i = 0; i < 55; ++i) {
        {
            AllocationCounter counter;
            output.Queue().Offer(block.data(), UInt32(block.size() * sizeof(int16_t)));
            offerAllocations += counter.count();
        }
        Play({kOutputUID}, 1);
    }
    EXPECT_EQ(offerAllocations, 0);
    ASSERT_TRUE(WaitFor([&] { return spy.allocations >= 0; }, std::chrono::seconds(10)));
    EXPECT_EQ(spy.allocations, 0);
    EXPECT_GT(CountEqual(Heard(10 * kBlockFrames), 0.25f), 0u); // it did render meanwhile
}

} // namespace
