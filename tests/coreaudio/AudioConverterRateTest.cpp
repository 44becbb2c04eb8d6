#include <gtest/gtest.h>

#include <AudioToolbox/AudioToolbox.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "AllocationCounter.h"
#include "AudioUnitTestSupport.h"

namespace {

using namespace coreaudio_test;

constexpr double kPi = 3.14159265358979323846;
constexpr double kTone = 1000;
constexpr Float32 kLevel = 0.5f; // the left channel's; the right one's is half
// What a recorder's proc answers once its block is used.
constexpr OSStatus kNoMoreNow = 1;
// A recorder's large output buffer: 256 KiB of 16-bit stereo.
constexpr UInt32 kCapacity = 65536;

AudioStreamBasicDescription Int16Stereo(Float64 rate) {
    AudioStreamBasicDescription format{};
    format.mSampleRate = rate;
    format.mFormatID = kAudioFormatLinearPCM;
    format.mFormatFlags = kAudioFormatFlagIsSignedInteger | kAudioFormatFlagIsPacked;
    format.mFramesPerPacket = 1;
    format.mChannelsPerFrame = 2;
    format.mBitsPerChannel = 16;
    format.mBytesPerFrame = format.mBytesPerPacket = 4;
    return format;
}

// A recorder's input proc: hands over its block once, then answers `status`
// with no frames until it is given the next block.
struct BlockSource {
    std::vector<SInt16> block; // interleaved stereo
    bool handed = false;
    int calls = 0;
    OSStatus status = kNoMoreNow;
    double phase = 0;

    // Loads the next `frames` frames of the tone at 44.1 kHz.
    void Next(UInt32 frames, Float32 level = kLevel) {
        block.resize(size_t{frames} * 2);
        for (UInt32 f = 0; f < frames; ++f, phase += 2 * kPi * kTone / 44100) {
            block[2 * f] = SInt16(std::lround(level * 32767 * std::sin(phase)));
            block[2 * f + 1] = SInt16(std::lround(level / 2 * 32767 * std::sin(phase)));
        }
        handed = false;
    }
    static OSStatus Proc(AudioConverterRef, UInt32* packets, AudioBufferList* data, AudioStreamPacketDescription**,
                         void* user) {
        auto& self = *static_cast<BlockSource*>(user);
        ++self.calls;
        if (self.handed) {
            *packets = 0;
            return self.status;
        }
        self.handed = true;
        *packets = UInt32(self.block.size() / 2);
        data->mBuffers[0] = {2, UInt32(self.block.size() * sizeof(SInt16)), self.block.data()};
        return noErr;
    }
};

struct RateConverter {
    explicit RateConverter(const AudioStreamBasicDescription& to = Int16Stereo(48000)) {
        const AudioStreamBasicDescription from = Int16Stereo(44100);
        EXPECT_EQ(AudioConverterNew(&from, &to, &ref), noErr);
    }
    ~RateConverter() { AudioConverterDispose(ref); }

    // One FillComplexBuffer into `out` (its frames appended to `heard` as
    // float); the status, with the frames made in `frames`.
    OSStatus Fill(BlockSource& source, UInt32& frames, std::vector<Float32>* heard = nullptr,
                  UInt32 capacity = kCapacity) {
        frames = capacity;
        AudioBufferList list{1, {{2, capacity * 4, out.data()}}};
        const OSStatus status =
            AudioConverterFillComplexBuffer(ref, BlockSource::Proc, &source, &frames, &list, nullptr);
        EXPECT_EQ(list.mBuffers[0].mDataByteSize, frames * 4);
        if (heard)
            for (size_t i = 0; i < size_t{frames} * 2; ++i) heard->push_back(out[i] / 32768.0f);
        return status;
    }

    AudioConverterRef ref = nullptr;
    std::vector<SInt16> out = std::vector<SInt16>(size_t{kCapacity} * 2);
};

struct ThreeBuffers {
    UInt32 mNumberBuffers;
    AudioBuffer mBuffers[3];
};

AudioBufferList& AsList(ThreeBuffers& buffers) { return *reinterpret_cast<AudioBufferList*>(&buffers); }

// The largest step between neighbouring samples.
Float32 LargestStep(const std::vector<Float32>& samples) {
    Float32 step = 0;
    for (size_t i = 1; i < samples.size(); ++i) step = std::max(step, std::fabs(samples[i] - samples[i - 1]));
    return step;
}

// The rate converter's start-up: output that lags behind the ratio.
constexpr size_t kSettle = 64;

TEST(AudioConverterRate, SineStaysWholeWhenBlocksAreConvertedOnceEach) {
    RateConverter converter;
    BlockSource source;
    std::vector<Float32> heard;
    size_t in = 0;
    for (int block = 0; block < 300; ++block) {
        const UInt32 frames = 470 + 37 * (block % 3); // blocks of uneven sizes
        source.Next(frames);
        in += frames;
        UInt32 made = 0;
        ASSERT_EQ(converter.Fill(source, made, &heard), kNoMoreNow);
        EXPECT_EQ(source.calls, 2 * (block + 1)) << "each block is asked for once, then the proc says no more";
    }
    const double expected = double(in) * 48000 / 44100;
    const double made = double(heard.size() / 2);
    EXPECT_LE(made, expected);
    EXPECT_GE(made, expected - kSettle);

    const std::vector<Float32> settled(heard.begin() + 2 * kSettle, heard.end());
    const std::vector<Float32> left = ChannelOf(settled, 2, 0), right = ChannelOf(settled, 2, 1);
    EXPECT_NEAR(Frequency(left, 48000), kTone, kTone * 0.001);
    EXPECT_NEAR(Peak(left), kLevel, 0.01);
    EXPECT_NEAR(Peak(right), kLevel / 2, 0.01);
    // A sine moves at most level * 2 pi f / rate per sample; a dropped or
    // restarted stretch at a block's edge jumps further.
    EXPECT_LT(LargestStep(left), kLevel * 2 * kPi * kTone / 48000 * 1.05);
}

TEST(AudioConverterRate, ProcErrorEndsTheCallWithWhatWasMade) {
    constexpr OSStatus kProcError = -12345;
    RateConverter converter;
    BlockSource source;
    source.status = kProcError;
    source.Next(4410);
    std::vector<Float32> heard;
    UInt32 first = 0, rest = 0, none = 99;
    EXPECT_EQ(converter.Fill(source, first, &heard, 100), noErr) << "the output filled up first";
    EXPECT_EQ(first, 100u);
    EXPECT_EQ(converter.Fill(source, rest, &heard), kProcError) << "the block's rest, then the proc's error";
    EXPECT_EQ(source.calls, 2);
    EXPECT_GT(first + rest, 4800u - kSettle);
    heard.erase(heard.begin(), heard.begin() + 2 * kSettle);
    EXPECT_LT(LargestStep(ChannelOf(heard, 2, 0)), kLevel * 2 * kPi * kTone / 48000 * 1.05);
    EXPECT_EQ(converter.Fill(source, none), kProcError) << "a later call asks the proc again";
    EXPECT_EQ(none, 0u);
    EXPECT_EQ(source.calls, 3);
}

TEST(AudioConverterRate, ResetForgetsPendingInputAndHistory) {
    RateConverter converter;
    BlockSource source;
    source.Next(4410);
    UInt32 frames = 0;
    ASSERT_EQ(converter.Fill(source, frames, nullptr, 50), noErr);
    ASSERT_EQ(AudioConverterReset(converter.ref), noErr);
    source.Next(441, 0.0f);
    std::vector<Float32> heard;
    EXPECT_EQ(converter.Fill(source, frames, &heard), kNoMoreNow);
    EXPECT_LE(frames, 480u) << "only the silent block was converted";
    EXPECT_GT(frames, 480u - kSettle);
    EXPECT_EQ(Peak(heard), 0.0f) << "nothing of the tone before the reset";
    EXPECT_EQ(AudioConverterReset(nullptr), kAudio_ParamError);
}

TEST(AudioConverterRate, FillComplexBufferAllocatesNothing) {
    // Two channels in, three out, de-interleaved float: the third is silent.
    AudioStreamBasicDescription planar = Int16Stereo(48000);
    planar.mFormatFlags = kAudioFormatFlagsNativeFloatPacked | kAudioFormatFlagIsNonInterleaved;
    planar.mChannelsPerFrame = 3;
    planar.mBitsPerChannel = 32;
    planar.mBytesPerFrame = planar.mBytesPerPacket = 4;
    RateConverter converter(planar);
    std::vector<Float32> channels(3 * 1024, 9.0f);
    ThreeBuffers out{3, {}};
    AudioBufferList& list = AsList(out);
    BlockSource source;
    source.block.reserve(2 * 512);
    int allocations = 0;
    for (int block = 0; block < 20; ++block) {
        source.Next(441);
        for (UInt32 c = 0; c < 3; ++c) out.mBuffers[c] = {1, 1024 * 4, channels.data() + c * 1024};
        UInt32 frames = 1024;
        const AllocationCounter counter;
        EXPECT_EQ(AudioConverterFillComplexBuffer(converter.ref, BlockSource::Proc, &source, &frames, &list, nullptr),
                  kNoMoreNow);
        if (block == 10) AudioConverterReset(converter.ref);
        allocations += counter.count();
    }
    EXPECT_EQ(allocations, 0);
    EXPECT_GT(Peak(std::vector<Float32>(channels.begin(), channels.begin() + 400)), 0.4f);
    EXPECT_EQ(Peak(std::vector<Float32>(channels.begin() + 2048, channels.begin() + 2048 + 400)), 0.0f);
}

} // namespace
