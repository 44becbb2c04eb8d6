// AudioToolbox's PCM converter: layouts at one rate, and between rates
// through libsamplerate.
#include "AudioToolbox/AudioConverter.h"

#include <samplerate.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "PCMLayout.h"

namespace {

using qcp::coreaudio::CopyFrames;
using qcp::coreaudio::LayoutOf;
using qcp::coreaudio::PCMLayout;

// Frames the rate converter takes and gives per step; its scratch buffers
// hold this many, so a conversion of any length needs no more memory.
constexpr UInt32 kChunkFrames = 1024;

// Float32 interleaved frames in storage sized once.
struct Scratch {
    Scratch(const PCMLayout& layout, UInt32 frames)
        : samples(size_t{frames} * layout.channels),
          list{1, {{layout.channels, UInt32(samples.size() * sizeof(Float32)), samples.data()}}} {}
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
    std::vector<Float32> samples;
    AudioBufferList list; // over `samples`
};

struct ResamplerDeleter {
    void operator()(SRC_STATE* state) const { src_delete(state); }
};
using Resampler = std::unique_ptr<SRC_STATE, ResamplerDeleter>;

class Converter {
public:
    // `resampler` is null at one rate.
    Converter(const PCMLayout& from, const PCMLayout& to, double ratio, Resampler resampler)
        : fFrom(from),
          fTo(to),
          fWork{true, true, std::min(from.channels, to.channels), sizeof(Float32)},
          fRatio(ratio),
          fResampler(std::move(resampler)),
          fInChunk(fWork, fResampler ? kChunkFrames : 0),
          fOutChunk(fWork, fResampler ? kChunkFrames : 0),
          fInputStorage(offsetof(AudioBufferList, mBuffers) + size_t{from.Buffers()} * sizeof(AudioBuffer)) {}

    bool Resamples() const { return fResampler != nullptr; }
    const PCMLayout& From() const { return fFrom; }
    const PCMLayout& To() const { return fTo; }

    void Reset() {
        fInputFrames = fInputUsed = 0;
        fChunkStart = fChunkEnd = 0;
        if (fResampler) src_reset(fResampler.get());
    }

    // Converts into `out` until `capacity` frames are there or a step ends
    // the call (returning false with the status the call ends with).
    OSStatus Fill(AudioConverterRef ref, AudioConverterComplexInputDataProc proc, void* user, UInt32 capacity,
                  const AudioBufferList& out, UInt32& produced) {
        produced = 0;
        OSStatus status = noErr;
        while (produced < capacity && (Resamples() ? Resample(ref, proc, user, capacity, out, produced, status)
                                                   : CopyInput(ref, proc, user, capacity, out, produced, status))) {
        }
        return status;
    }

private:
    AudioBufferList& Input() { return *reinterpret_cast<AudioBufferList*>(fInputStorage.data()); }
    UInt32 InputLeft() const { return fInputFrames - fInputUsed; }

    // Asks the proc for about `wanted` frames unless some are left. False
    // when there are none, with the status the call ends with.
    bool Pull(AudioConverterRef ref, AudioConverterComplexInputDataProc proc, void* user, UInt32 wanted,
              OSStatus& status) {
        if (InputLeft() > 0) return true;
        fInputFrames = fInputUsed = 0;
        AudioBufferList& input = Input();
        input.mNumberBuffers = fFrom.Buffers();
        for (UInt32 i = 0; i < input.mNumberBuffers; ++i) input.mBuffers[i] = {fFrom.ChannelsPerBuffer(), 0, nullptr};
        UInt32 frames = std::max<UInt32>(wanted, 1);
        status = proc(ref, &frames, &input, nullptr, user);
        if (status != noErr || frames == 0) return false;
        if (!fFrom.Holds(input, frames)) {
            status = kAudioConverterErr_InvalidInputSize;
            return false;
        }
        fInputFrames = frames;
        return true;
    }

    // At one rate input goes straight to the output.
    bool CopyInput(AudioConverterRef ref, AudioConverterComplexInputDataProc proc, void* user, UInt32 capacity,
                   const AudioBufferList& out, UInt32& produced, OSStatus& status) {
        if (!Pull(ref, proc, user, capacity - produced, status)) return false;
        const UInt32 frames = std::min(InputLeft(), capacity - produced);
        CopyFrames(fFrom, Input(), fInputUsed, fTo, out, produced, frames);
        fInputUsed += frames;
        produced += frames;
        return true;
    }

    // Between rates input goes through the scratch chunks: one step of the
    // rate converter.
    bool Resample(AudioConverterRef ref, AudioConverterComplexInputDataProc proc, void* user, UInt32 capacity,
                  const AudioBufferList& out, UInt32& produced, OSStatus& status) {
        if (fChunkStart == fChunkEnd) {
            const double wanted = std::ceil((capacity - produced) / fRatio);
            if (!Pull(ref, proc, user, UInt32(std::min<double>(wanted, kChunkFrames)), status)) return false;
            const UInt32 frames = std::min(InputLeft(), kChunkFrames);
            CopyFrames(fFrom, Input(), fInputUsed, fWork, fInChunk.list, 0, frames);
            fInputUsed += frames;
            fChunkStart = 0;
            fChunkEnd = frames;
        }
        SRC_DATA step{};
        step.data_in = fInChunk.samples.data() + size_t{fChunkStart} * fWork.channels;
        step.input_frames = fChunkEnd - fChunkStart;
        step.data_out = fOutChunk.samples.data();
        step.output_frames = std::min(kChunkFrames, capacity - produced);
        step.src_ratio = fRatio;
        // The rate converter takes all the input it is given unless its
        // output is full; taking nothing and giving nothing would never end.
        if (src_process(fResampler.get(), &step) != 0 || (step.input_frames_used == 0 && step.output_frames_gen == 0)) {
            status = kAudioConverterErr_UnspecifiedError;
            return false;
        }
        fChunkStart += UInt32(step.input_frames_used);
        CopyFrames(fWork, fOutChunk.list, 0, fTo, out, produced, size_t(step.output_frames_gen));
        produced += UInt32(step.output_frames_gen);
        return true;
    }

    const PCMLayout fFrom;
    const PCMLayout fTo;
    // The rate converter's layout: float32 interleaved, only the channels
    // that reach the output.
    const PCMLayout fWork;
    const double fRatio;
    const Resampler fResampler;
    Scratch fInChunk;
    Scratch fOutChunk;
    UInt32 fChunkStart = 0; // fInChunk's frames the rate converter has not taken
    UInt32 fChunkEnd = 0;
    // The list the proc points at its data, and how much of that is used.
    std::vector<std::byte> fInputStorage;
    UInt32 fInputFrames = 0;
    UInt32 fInputUsed = 0;
};

Converter* ConverterOf(AudioConverterRef ref) { return reinterpret_cast<Converter*>(ref); }

bool IsRate(Float64 rate) { return std::isfinite(rate) && rate > 0; }

// Sets each output buffer's size to `frames` frames.
void SetSizes(const PCMLayout& layout, AudioBufferList& list, UInt32 frames) {
    for (UInt32 i = 0; i < list.mNumberBuffers; ++i)
        list.mBuffers[i].mDataByteSize = frames * layout.BytesPerBufferFrame();
}

} // namespace

extern "C" {

OSStatus AudioConverterNew(const AudioStreamBasicDescription* inSourceFormat,
                           const AudioStreamBasicDescription* inDestinationFormat,
                           AudioConverterRef* outAudioConverter) {
    if (!inSourceFormat || !inDestinationFormat || !outAudioConverter) return kAudio_ParamError;
    PCMLayout from{}, to{};
    const Float64 fromRate = inSourceFormat->mSampleRate, toRate = inDestinationFormat->mSampleRate;
    if (!LayoutOf(*inSourceFormat, from) || !LayoutOf(*inDestinationFormat, to) || !IsRate(fromRate) ||
        !IsRate(toRate))
        return kAudioConverterErr_FormatNotSupported;
    const double ratio = toRate / fromRate;
    Resampler resampler;
    if (fromRate != toRate) {
        if (!src_is_valid_ratio(ratio)) return kAudioConverterErr_FormatNotSupported;
        int error = 0;
        resampler.reset(src_new(SRC_SINC_FASTEST, int(std::min(from.channels, to.channels)), &error));
        if (!resampler) return kAudioConverterErr_FormatNotSupported;
    }
    try {
        *outAudioConverter = reinterpret_cast<AudioConverterRef>(new Converter(from, to, ratio, std::move(resampler)));
    } catch (const std::bad_alloc&) {
        return kAudio_MemFullError;
    }
    return noErr;
}

OSStatus AudioConverterDispose(AudioConverterRef inAudioConverter) {
    if (!inAudioConverter) return kAudio_ParamError;
    delete ConverterOf(inAudioConverter);
    return noErr;
}

OSStatus AudioConverterReset(AudioConverterRef inAudioConverter) {
    if (!inAudioConverter) return kAudio_ParamError;
    ConverterOf(inAudioConverter)->Reset();
    return noErr;
}

OSStatus AudioConverterFillComplexBuffer(AudioConverterRef inAudioConverter,
                                         AudioConverterComplexInputDataProc inInputDataProc,
                                         void* inInputDataProcUserData, UInt32* ioOutputDataPacketSize,
                                         AudioBufferList* outOutputData, AudioStreamPacketDescription*) {
    if (!inAudioConverter || !inInputDataProc || !ioOutputDataPacketSize || !outOutputData) return kAudio_ParamError;
    Converter& converter = *ConverterOf(inAudioConverter);
    const PCMLayout& to = converter.To();
    if (outOutputData->mNumberBuffers != to.Buffers()) return kAudioConverterErr_InvalidOutputSize;
    UInt32 capacity = *ioOutputDataPacketSize;
    for (UInt32 i = 0; i < outOutputData->mNumberBuffers; ++i) {
        if (!outOutputData->mBuffers[i].mData) return kAudio_ParamError;
        capacity = std::min(capacity, outOutputData->mBuffers[i].mDataByteSize / to.BytesPerBufferFrame());
    }
    UInt32 produced = 0;
    const OSStatus status = converter.Fill(inAudioConverter, inInputDataProc, inInputDataProcUserData, capacity,
                                           *outOutputData, produced);
    *ioOutputDataPacketSize = produced;
    SetSizes(to, *outOutputData, produced);
    return status;
}

OSStatus AudioConverterConvertComplexBuffer(AudioConverterRef inAudioConverter, UInt32 inNumberPCMFrames,
                                            const AudioBufferList* inInputData, AudioBufferList* outOutputData) {
    if (!inAudioConverter || !inInputData || !outOutputData) return kAudio_ParamError;
    const Converter& converter = *ConverterOf(inAudioConverter);
    if (converter.Resamples()) return kAudioConverterErr_OperationNotSupported;
    const PCMLayout& from = converter.From();
    const PCMLayout& to = converter.To();
    if (!from.Holds(*inInputData, inNumberPCMFrames)) return kAudioConverterErr_InvalidInputSize;
    if (!to.Holds(*outOutputData, inNumberPCMFrames)) return kAudioConverterErr_InvalidOutputSize;
    CopyFrames(from, *inInputData, 0, to, *outOutputData, 0, inNumberPCMFrames);
    SetSizes(to, *outOutputData, inNumberPCMFrames);
    return noErr;
}
}
