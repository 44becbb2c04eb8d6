// The audio rings moving one realistic block through (store, then fetch),
// beside a memcpy of the same bytes.
#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstring>
#include <memory>
#include <vector>

#include "CARingBuffer.h"
#include "vnCircularBuffer.h"

namespace {

constexpr unsigned kFrames = 512;
constexpr unsigned kChannels = 2;
constexpr unsigned kPcmBlockBytes = kFrames * kChannels * sizeof(int16_t); // 16-bit interleaved
constexpr unsigned kFloatChannelBytes = kFrames * sizeof(float);           // one de-interleaved channel

// The byte ring as the audio engine sizes it for 48 kHz stereo (range 0),
// and a small one that stays in the first-level caches.
void ByteRingWriteRead(benchmark::State& state) {
    vnCircularBuffer* ring = new vnCircularBuffer(unsigned(state.range(0)));
    ring->SetAllowOverwriting(false);
    std::vector<uint8_t> block(kPcmBlockBytes, 0x40), into(kPcmBlockBytes);
    for (auto _ : state) {
        ring->WriteData(block.data(), kPcmBlockBytes);
        ring->ReadData(into.data(), kPcmBlockBytes);
        benchmark::DoNotOptimize(into.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * kPcmBlockBytes);
    ring->Release();
}
BENCHMARK(ByteRingWriteRead)->Arg(kChannels * 48000 * 2 * 4)->Arg(16 * 1024);

void ByteBlockCopy(benchmark::State& state) {
    std::vector<uint8_t> block(kPcmBlockBytes, 0x40), into(kPcmBlockBytes);
    for (auto _ : state) {
        std::memcpy(into.data(), block.data(), kPcmBlockBytes);
        benchmark::DoNotOptimize(into.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * kPcmBlockBytes);
}
BENCHMARK(ByteBlockCopy);

// A list of kChannels buffers over `samples`, one channel after another.
struct FloatChannels {
    std::vector<float> samples = std::vector<float>(kFrames * kChannels, 0.25f);
    std::unique_ptr<std::byte[]> storage{
        new std::byte[offsetof(AudioBufferList, mBuffers) + kChannels * sizeof(AudioBuffer)]};
    AudioBufferList* list = new (storage.get()) AudioBufferList;

    FloatChannels() {
        list->mNumberBuffers = kChannels;
        for (unsigned c = 0; c < kChannels; ++c)
            *(list->mBuffers + c) = {1, kFloatChannelBytes, samples.data() + c * kFrames};
    }
};

// The play-through ring's capacity in frames (range 0): sixteen blocks, and two.
void SampleRingStoreFetch(benchmark::State& state) {
    CARingBuffer ring;
    ring.Allocate(kChannels, sizeof(float), unsigned(state.range(0)));
    FloatChannels block, into;
    SInt64 t = 0;
    for (auto _ : state) {
        ring.Store(block.list, kFrames, t);
        ring.Fetch(into.list, kFrames, t);
        t += kFrames;
        benchmark::DoNotOptimize(into.samples.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * kFloatChannelBytes * kChannels);
}
BENCHMARK(SampleRingStoreFetch)->Arg(16 * kFrames)->Arg(2 * kFrames);

void SampleBlockCopy(benchmark::State& state) {
    FloatChannels block, into;
    for (auto _ : state) {
        for (unsigned c = 0; c < kChannels; ++c)
            std::memcpy((into.list->mBuffers + c)->mData, (block.list->mBuffers + c)->mData, kFloatChannelBytes);
        benchmark::DoNotOptimize(into.samples.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * kFloatChannelBytes * kChannels);
}
BENCHMARK(SampleBlockCopy);

} // namespace
