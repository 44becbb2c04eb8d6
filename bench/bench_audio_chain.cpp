// The system-audio chain on the simulated sound system, on the real clock:
// how long a sound an application starts takes to reach a receiver, what the
// chain costs in CPU beside the same world playing to the speakers alone,
// and one packet's delivery on the driver's real-time path.
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include "AudioDeviceLayer.h"
#include "CaptureDriver.h"
#include "MacSystemAudio/SystemAudioDriver.h"
#include "SimAudioSystem.h"

namespace {

using Clock = std::chrono::steady_clock;
using MC::SystemAudioDriver;
using qcp::coreaudio::sim::SimAudioSystem;
using namespace std::chrono_literals;

constexpr int kPacketBytes = 7200;
constexpr int kPacketFrames = kPacketBytes / 4; // 16-bit stereo
constexpr double kRate = 48000;

// The default world (driver, speakers as the default output, microphone),
// with or without its application playing the tone; installed as the layer.
SimAudioSystem* InstallWorld(bool playing) {
    auto system = std::make_unique<SimAudioSystem>();
    system->InstallDriver();
    qcp::coreaudio::sim::SimAudioDeviceSetup speakers;
    speakers.uid = qcp::coreaudio::sim::kSimSpeakersUID;
    speakers.name = "Simulated Speakers";
    speakers.outputStreams = {2};
    speakers.outputSafetyOffset = 32;
    system->AddDevice(speakers);
    qcp::coreaudio::sim::SimAudioDeviceSetup microphone;
    microphone.uid = qcp::coreaudio::sim::kSimMicrophoneUID;
    microphone.name = "Simulated Microphone";
    microphone.inputStreams = {1};
    microphone.inputSafetyOffset = 16;
    system->AddDevice(microphone);
    if (playing) system->AddApplication({.name = "Simulated Tone"});
    SimAudioSystem* world = system.get();
    qcp::coreaudio::Install(std::move(system));
    return world;
}

void UninstallWorld() {
    SystemAudioDriver::Shutdown();
    qcp::coreaudio::Install(nullptr);
}

template <typename Done>
bool WaitFor(Done done, Clock::duration limit) {
    const auto end = Clock::now() + limit;
    while (!done()) {
        if (Clock::now() > end) return false;
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

// Counts packets; notes when the first one holding sound arrived and at
// which frame the sound starts in it (the sine's first sample is zero, so
// a frame late: 21 µs). Allocates nothing.
struct OnsetReceiver : MC::SystemAudioReceiver {
    std::atomic<int> packets{0};
    std::atomic<bool> heard{false};
    Clock::time_point arrived;
    int onsetFrame = 0;

    void ProcessAudioData(void* data, int size) override {
        const auto now = Clock::now();
        ++packets;
        if (heard.load(std::memory_order_relaxed)) return;
        const auto* samples = static_cast<const int16_t*>(data);
        for (int frame = 0; frame < size / 4; ++frame) {
            if (samples[2 * frame] != 0 || samples[2 * frame + 1] != 0) {
                arrived = now;
                onsetFrame = frame;
                heard.store(true, std::memory_order_release);
                return;
            }
        }
    }
};

double Seconds(Clock::duration d) { return std::chrono::duration<double>(d).count(); }

// From AddApplication to the sound's first frame at the receiver, in a fresh
// silent world per repetition with the chain already running and settled.
// The manual time is the onset: the packet's arrival less the frames after
// the first sounding one; "to_packet" is the arrival itself.
void SoundToReceiver(benchmark::State& state) {
    // Waiting a fixed time after a packet would start the sound at the same
    // point of the packet clock every time: a random wait over the span after
    // which packets and device cycles line up again (lcm(1800, 512) frames,
    // 2.4 s) samples every phase. One generator for all repetitions, each of
    // which calls this anew; seeded, so runs repeat the same waits.
    static std::mt19937 random(1);
    std::uniform_real_distribution<double> phase(0, 115200 / kRate);
    for (auto _ : state) {
        SimAudioSystem* world = InstallWorld(false);
        SystemAudioDriver* driver = SystemAudioDriver::Default();
        OnsetReceiver receiver;
        driver->registerAudioReceiver(&receiver);
        // The engine's start-up is not part of it: packets flow for a while first.
        const bool settled = WaitFor([&] { return receiver.packets >= 8; }, 10s);
        std::this_thread::sleep_for(1s + std::chrono::duration<double>(phase(random)));
        if (!settled || receiver.heard) {
            driver->unregisterAudioReceiver(&receiver);
            UninstallWorld();
            state.SkipWithError(settled ? "sound before the application played" : "no packets");
            break;
        }
        const auto added = Clock::now();
        world->AddApplication({.name = "Simulated Tone"});
        const bool heard = WaitFor([&] { return receiver.heard.load(std::memory_order_acquire); }, 5s);
        driver->unregisterAudioReceiver(&receiver);
        UninstallWorld();
        if (!heard) {
            state.SkipWithError("the sound never arrived");
            break;
        }
        const double toPacket = Seconds(receiver.arrived - added);
        const double afterOnset = (kPacketFrames - receiver.onsetFrame) / kRate;
        state.SetIterationTime(toPacket - afterOnset);
        state.counters["to_packet_ms"] = toPacket * 1e3;
        state.counters["after_onset_ms"] = afterOnset * 1e3;
    }
}

double Min(const std::vector<double>& v) { return *std::min_element(v.begin(), v.end()); }
double Max(const std::vector<double>& v) { return *std::max_element(v.begin(), v.end()); }

BENCHMARK(SoundToReceiver)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1)
    ->Repetitions(20)
    ->ComputeStatistics("min", Min)
    ->ComputeStatistics("max", Max)
    ->ReportAggregatesOnly();

// The process's CPU time, user and system over every thread, in ms per
// second of wall time over `seconds`.
double CpuMsPerSecond(double seconds) {
    const auto cpu = [] {
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        const auto ms = [](const timeval& t) { return t.tv_sec * 1e3 + t.tv_usec / 1e3; };
        return ms(usage.ru_utime) + ms(usage.ru_stime);
    };
    const double before = cpu();
    const auto start = Clock::now();
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    return (cpu() - before) / Seconds(Clock::now() - start);
}

// The application playing for range(0) seconds into the speakers alone (the
// baseline), then, in a fresh world, the same captured by the chain, which
// routes it to the capture driver, records it and plays it on to the
// speakers. Counters only; the time is the two windows'.
void ChainCpu(benchmark::State& state) {
    const double seconds = double(state.range(0));
    for (auto _ : state) {
        InstallWorld(true);
        std::this_thread::sleep_for(1s);
        const double baseline = CpuMsPerSecond(seconds);
        UninstallWorld();

        InstallWorld(true);
        OnsetReceiver receiver;
        SystemAudioDriver::Default()->registerAudioReceiver(&receiver);
        const bool flowing = WaitFor([&] { return receiver.packets >= 8; }, 10s);
        std::this_thread::sleep_for(1s);
        const int packetsBefore = receiver.packets;
        const double total = CpuMsPerSecond(seconds);
        const int packets = receiver.packets - packetsBefore;
        SystemAudioDriver::Default()->unregisterAudioReceiver(&receiver);
        UninstallWorld();
        if (!flowing || !receiver.heard) {
            state.SkipWithError("the chain delivered no sound");
            break;
        }
        state.SetIterationTime(2 * seconds);
        state.counters["baseline_ms_per_s"] = baseline;
        state.counters["total_ms_per_s"] = total;
        state.counters["chain_ms_per_s"] = total - baseline;
        state.counters["total_vs_baseline"] = total / baseline;
        state.counters["packets_per_s"] = packets / seconds;
    }
}
BENCHMARK(ChainCpu)
    ->Arg(5)
    ->UseManualTime()
    ->Unit(benchmark::kSecond)
    ->Iterations(1)
    ->Repetitions(3)
    ->ReportAggregatesOnly();

// Takes the packet and touches it, as a receiver copying it out would.
struct CountingReceiver : MC::SystemAudioReceiver {
    int64_t packets = 0;
    uint8_t last = 0;
    void ProcessAudioData(void* data, int size) override {
        ++packets;
        last = static_cast<const uint8_t*>(data)[size - 1];
    }
};

// One call of the driver's real-time path with a packet's worth of bytes:
// into the engine's ring, out again as a packet, to one receiver. The
// recorder is kept from starting so that the benchmark alone feeds it.
void PacketDelivery(benchmark::State& state) {
    SimAudioSystem* world = InstallWorld(false);
    world->InjectFault(world->DeviceID(kCaptureDriverRecordedFromUID), kAudioObjectPropertySelectorWildcard,
                       kAudioHardwareIllegalOperationError, qcp::coreaudio::sim::SimAudioCall::StartIO);
    SystemAudioDriver* driver = SystemAudioDriver::Default();
    CountingReceiver receiver;
    driver->registerAudioReceiver(&receiver);
    std::vector<uint8_t> block(kPacketBytes, 0x40);
    for (auto _ : state) {
        driver->ProcessAudioData(0, 0, block.data(), kPacketBytes);
        benchmark::DoNotOptimize(receiver.last);
    }
    driver->unregisterAudioReceiver(&receiver);
    UninstallWorld();
    if (receiver.packets != state.iterations()) state.SkipWithError("a delivery carried no packet");
    state.SetBytesProcessed(int64_t(state.iterations()) * kPacketBytes);
}
BENCHMARK(PacketDelivery)->Repetitions(5)->ReportAggregatesOnly();

// The same bytes copied once, as the floor.
void PacketCopy(benchmark::State& state) {
    std::vector<uint8_t> block(kPacketBytes, 0x40), into(kPacketBytes);
    for (auto _ : state) {
        std::memcpy(into.data(), block.data(), kPacketBytes);
        benchmark::DoNotOptimize(into.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * kPacketBytes);
}
BENCHMARK(PacketCopy)->Repetitions(5)->ReportAggregatesOnly();

} // namespace
