#include <gtest/gtest.h>

#include <AudioToolbox/AudioToolbox.h>

#include <cmath>
#include <vector>

namespace {

AudioStreamBasicDescription Format(bool isFloat, bool interleaved, UInt32 channels, Float64 rate = 48000) {
    AudioStreamBasicDescription format{};
    format.mSampleRate = rate;
    format.mFormatID = kAudioFormatLinearPCM;
    format.mFormatFlags = (isFloat ? kAudioFormatFlagIsFloat : kAudioFormatFlagIsSignedInteger) |
                          kAudioFormatFlagIsPacked | (interleaved ? 0U : UInt32{kAudioFormatFlagIsNonInterleaved});
    format.mFramesPerPacket = 1;
    format.mChannelsPerFrame = channels;
    format.mBitsPerChannel = isFloat ? 32 : 16;
    format.mBytesPerFrame = (isFloat ? 4 : 2) * (interleaved ? channels : 1);
    format.mBytesPerPacket = format.mBytesPerFrame;
    return format;
}

// A buffer list over one or two caller-owned buffers.
struct TwoBuffers {
    UInt32 mNumberBuffers;
    AudioBuffer mBuffers[2];
};

AudioBufferList& AsList(TwoBuffers& buffers) { return *reinterpret_cast<AudioBufferList*>(&buffers); }

class Converter {
public:
    Converter(const AudioStreamBasicDescription& from, const AudioStreamBasicDescription& to) {
        status = AudioConverterNew(&from, &to, &ref);
    }
    ~Converter() {
        if (ref) AudioConverterDispose(ref);
    }
    AudioConverterRef ref = nullptr;
    OSStatus status;
};

// Hands over its float32 interleaved stereo samples once, then no frames.
struct OneBlock {
    std::vector<Float32> samples;
    int calls = 0;
    static OSStatus Proc(AudioConverterRef, UInt32* packets, AudioBufferList* data, AudioStreamPacketDescription**,
                         void* user) {
        auto& self = *static_cast<OneBlock*>(user);
        *packets = self.calls++ ? 0 : UInt32(self.samples.size() / 2);
        data->mBuffers[0] = {2, UInt32(self.samples.size() * sizeof(Float32)), self.samples.data()};
        return noErr;
    }
};

TEST(AudioConverter, FloatInterleavedToInt16PlanarAndBack) {
    const std::vector<Float32> stereo{0.5f, -0.25f, 1.5f, -1.5f, 0.0f, 1.0f / 32768};
    std::vector<SInt16> left(3), right(3);
    Converter toInt(Format(true, true, 2), Format(false, false, 2));
    ASSERT_EQ(toInt.status, noErr);
    TwoBuffers in{1, {{2, UInt32(stereo.size() * 4), const_cast<Float32*>(stereo.data())}, {}}};
    TwoBuffers out{2, {{1, 6, left.data()}, {1, 6, right.data()}}};
    ASSERT_EQ(AudioConverterConvertComplexBuffer(toInt.ref, 3, &AsList(in), &AsList(out)), noErr);
    EXPECT_EQ(left, (std::vector<SInt16>{16384, 32767, 0})) << "full scale clips";
    EXPECT_EQ(right, (std::vector<SInt16>{-8192, -32768, 1}));

    std::vector<Float32> back(6, 9.0f);
    Converter toFloat(Format(false, false, 2), Format(true, true, 2));
    TwoBuffers again{1, {{2, 24, back.data()}, {}}};
    ASSERT_EQ(AudioConverterConvertComplexBuffer(toFloat.ref, 3, &AsList(out), &AsList(again)), noErr);
    EXPECT_EQ(back, (std::vector<Float32>{0.5f, -0.25f, 32767.0f / 32768, -1.0f, 0.0f, 1.0f / 32768}));
    EXPECT_EQ(again.mBuffers[0].mDataByteSize, 24u);
}

TEST(AudioConverter, ChannelsAreMatchedByPosition) {
    const std::vector<Float32> stereo{0.1f, 0.2f, 0.3f, 0.4f};
    std::vector<Float32> mono(2), widened(4, 9.0f);
    Converter narrow(Format(true, true, 2), Format(true, true, 1));
    TwoBuffers in{1, {{2, 16, const_cast<Float32*>(stereo.data())}, {}}};
    TwoBuffers out{1, {{1, 8, mono.data()}, {}}};
    ASSERT_EQ(AudioConverterConvertComplexBuffer(narrow.ref, 2, &AsList(in), &AsList(out)), noErr);
    EXPECT_EQ(mono, (std::vector<Float32>{0.1f, 0.3f}));

    Converter widen(Format(true, true, 1), Format(true, true, 2));
    TwoBuffers wide{1, {{2, 16, widened.data()}, {}}};
    ASSERT_EQ(AudioConverterConvertComplexBuffer(widen.ref, 2, &AsList(out), &AsList(wide)), noErr);
    EXPECT_EQ(widened, (std::vector<Float32>{0.1f, 0.0f, 0.3f, 0.0f}));
}

TEST(AudioConverter, RefusesWhatItCannotDo) {
    auto bigEndian = Format(false, true, 2);
    bigEndian.mFormatFlags |= kAudioFormatFlagIsBigEndian;
    auto threeBytes = Format(false, true, 2);
    threeBytes.mBitsPerChannel = 24;
    threeBytes.mBytesPerFrame = threeBytes.mBytesPerPacket = 6;
    for (const Float64 rate : {0.0, -48000.0, 48000.0 * 300, std::nan("")})
        EXPECT_EQ(Converter(Format(true, true, 2, rate), Format(true, true, 2)).status,
                  kAudioConverterErr_FormatNotSupported)
            << rate;
    EXPECT_EQ(Converter(bigEndian, Format(true, true, 2)).status, kAudioConverterErr_FormatNotSupported);
    EXPECT_EQ(Converter(Format(true, true, 2), threeBytes).status, kAudioConverterErr_FormatNotSupported);
    EXPECT_EQ(AudioConverterNew(nullptr, nullptr, nullptr), kAudio_ParamError);

    Converter converter(Format(true, true, 2), Format(true, false, 2));
    std::vector<Float32> samples(8);
    TwoBuffers in{1, {{2, 32, samples.data()}, {}}};
    TwoBuffers shortOut{2, {{1, 12, samples.data()}, {1, 16, samples.data() + 4}}};
    EXPECT_EQ(AudioConverterConvertComplexBuffer(converter.ref, 4, &AsList(in), &AsList(shortOut)),
              kAudioConverterErr_InvalidOutputSize);
    TwoBuffers out{2, {{1, 16, samples.data()}, {1, 16, samples.data() + 4}}};
    EXPECT_EQ(AudioConverterConvertComplexBuffer(converter.ref, 5, &AsList(in), &AsList(out)),
              kAudioConverterErr_InvalidInputSize);
    Converter betweenRates(Format(true, true, 2, 44100), Format(true, false, 2));
    EXPECT_EQ(AudioConverterConvertComplexBuffer(betweenRates.ref, 4, &AsList(in), &AsList(out)),
              kAudioConverterErr_OperationNotSupported);

    UInt32 frames = 4;
    EXPECT_EQ(AudioConverterFillComplexBuffer(converter.ref, nullptr, nullptr, &frames, &AsList(out), nullptr),
              kAudio_ParamError);
    EXPECT_EQ(AudioConverterFillComplexBuffer(converter.ref, OneBlock::Proc, nullptr, &frames, &AsList(in), nullptr),
              kAudioConverterErr_InvalidOutputSize)
        << "one buffer for two de-interleaved channels";
    // A proc that leaves the data pointer null.
    const auto lying = [](AudioConverterRef, UInt32* packets, AudioBufferList*, AudioStreamPacketDescription**,
                          void*) -> OSStatus {
        *packets = 4;
        return noErr;
    };
    EXPECT_EQ(AudioConverterFillComplexBuffer(converter.ref, lying, nullptr, &frames, &AsList(out), nullptr),
              kAudioConverterErr_InvalidInputSize);
    EXPECT_EQ(frames, 0u);
}

TEST(AudioConverter, FillComplexBufferKeepsTheRestOfABlockForTheNextCall) {
    OneBlock source{{0.5f, -0.5f, 0.25f, -0.25f, 1.0f / 32768, 0.0f, 0.75f, -0.75f, 0.125f, -0.125f}};
    std::vector<SInt16> left(4, 9), right(4, 9);
    Converter converter(Format(true, true, 2), Format(false, false, 2));
    TwoBuffers out{2, {{1, 8, left.data()}, {1, 8, right.data()}}};
    UInt32 frames = 3;
    ASSERT_EQ(AudioConverterFillComplexBuffer(converter.ref, OneBlock::Proc, &source, &frames, &AsList(out), nullptr),
              noErr);
    EXPECT_EQ(frames, 3u);
    EXPECT_EQ(out.mBuffers[1].mDataByteSize, 6u);
    EXPECT_EQ(left, (std::vector<SInt16>{16384, 8192, 1, 9}));
    out.mBuffers[0].mDataByteSize = out.mBuffers[1].mDataByteSize = 8;
    frames = 4;
    ASSERT_EQ(AudioConverterFillComplexBuffer(converter.ref, OneBlock::Proc, &source, &frames, &AsList(out), nullptr),
              noErr)
        << "no frames with noErr ends the call without an error";
    EXPECT_EQ(frames, 2u);
    EXPECT_EQ(source.calls, 2) << "asked again once the block was used";
    EXPECT_EQ(out.mBuffers[0].mDataByteSize, 4u);
    EXPECT_EQ(right, (std::vector<SInt16>{-24576, -4096, 0, 9}));
}

} // namespace
