// Compositing the cursor into a frame, beside a plain copy of the same bytes.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "MacCaptureSource.h"
#include "SimPlatform.h"

using namespace qcp::platform;

namespace {
SurfaceRef MakeFrame(uint32_t width, uint32_t height) {
    SurfaceRef surface = SurfaceRef::Adopt(Surface::Create(SurfaceProperties::Packed(width, height)));
    std::memset(surface->baseAddress(), 0x40, surface->allocSize());
    return surface;
}

void Install(uint32_t width, uint32_t height) {
    auto platform = sim::MakePlatform();
    platform->world().AddScreen({1, {0, 0, double(width), double(height)}, 1.0, "Bench", 60});
    platform->world().SetMouse({width / 2.0, height / 2.0});
    qcp::platform::Install(std::move(platform));
}

void CompositeWithCursor(benchmark::State& state) {
    const auto width = uint32_t(state.range(0)), height = uint32_t(state.range(1));
    Install(width, height);
    MC::MacCaptureSource source("bench", "bench");
    source.setCaptureFrame(0, 0, float(width), float(height));
    source.setCaptureDisplay(1);
    SurfaceRef frame = MakeFrame(width, height);
    SurfaceRef output;
    for (auto _ : state) output = source.copy_iosurface_and_render_mouse(frame.get(), std::move(output));
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(frame->allocSize()));
}
BENCHMARK(CompositeWithCursor)->Args({1920, 1080})->Args({3840, 2160})->Unit(benchmark::kMicrosecond);

void PlainCopy(benchmark::State& state) {
    const size_t bytes = size_t(state.range(0)) * size_t(state.range(1)) * 4;
    std::vector<uint8_t> from(bytes, 0x40), to(bytes);
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), bytes);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(bytes));
}
BENCHMARK(PlainCopy)->Args({1920, 1080})->Args({3840, 2160})->Unit(benchmark::kMicrosecond);
} // namespace
