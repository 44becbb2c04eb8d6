// System audio through the plug-in's C interface, as a host receives it.
#include <atomic>
#include <cmath>
#include <mutex>
#include <thread>

#include "AllocationWatch.h"
#include "AudioUnitTestSupport.h"
#include "Platform.h"
#include "QCP_API.h"
#include "SimPlatform.h"
#include "SystemAudioChainTest.h"
#include "WaitFor.h"

namespace {

using namespace coreaudio_test;
using namespace std::chrono_literals;

// What the host's audio callback was given, kept without allocating.
struct HostAudio {
    std::mutex mutex;
    std::vector<int16_t> samples;
    std::vector<uint32_t> sizes;
    std::atomic<int> packets{0};
    bool headersRight = true;

    HostAudio() {
        samples.reserve(48000 * 2 * 4);
        sizes.reserve(256);
    }
    static void Arrived(void* context, QCP_AudioBuffer* buffer) {
        auto& self = *static_cast<HostAudio*>(context);
        std::lock_guard lock(self.mutex);
        self.headersRight &= buffer->format == 0x6670636Du && buffer->sampleRate == 48000 && buffer->channels == 2 &&
                             buffer->bitsPerSample == 16 && buffer->timeStamp == 0 && buffer->one == 1;
        if (self.sizes.size() < self.sizes.capacity()) self.sizes.push_back(buffer->dataBytes);
        const auto* data = static_cast<const int16_t*>(buffer->data);
        const size_t count = buffer->dataBytes / 2;
        if (self.samples.size() + count <= self.samples.capacity())
            self.samples.insert(self.samples.end(), data, data + count);
        ++self.packets;
    }
};

class SystemAudioEndToEnd : public SystemAudioChainTest {
protected:
    void SetUp() override {
        SystemAudioChainTest::SetUp();
        qcp::platform::Install(qcp::platform::sim::MakePlatform());
        ASSERT_EQ(QCP_IntitializeLibrary(), 1);
    }
    void TearDown() override {
        QCP_UninitializeLibrary();
        qcp::platform::Install(nullptr);
        SystemAudioChainTest::TearDown();
    }
};

TEST_F(SystemAudioEndToEnd, TheHostReceivesWhatIsPlayedAndTheSpeakersStillPlayIt) {
    const AudioObjectID speakers = fSim->DeviceID(kSimSpeakersUID);
    HostAudio host;
    QCP_RegisterAudioDataArrivedCallback(QCP_AUDIO_DEVICE_ID, nullptr, &HostAudio::Arrived, &host);
    EXPECT_EQ(Default(kAudioHardwarePropertyDefaultOutputDevice), fSim->DeviceID(kCaptureDriverPlayedIntoUID))
        << "what the system plays goes to the capture driver";
    // Two seconds of packets after the first.
    ASSERT_TRUE(WaitFor([&] { return host.packets >= 1; }, 10s));
    const auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(WaitFor([&] { return host.packets >= 54; }, 10s));
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_NEAR(53 * 0.0375 / seconds, 1.0, 0.2) << "packets come at the recorder's pace";

    // The speakers keep playing while the system plays into the driver: a
    // second more of cycles, and what they played is the tone.
    const uint64_t cycles = fSim->IOCycles(kSimSpeakersUID);
    ASSERT_TRUE(WaitFor([&] { return fSim->IOCycles(kSimSpeakersUID) > cycles + 94; }, 10s));
    const auto heard = ChannelOf(fSim->Recording(kSimSpeakersUID, 24000), 2, 0);
    QCP_RegisterAudioDataArrivedCallback(QCP_AUDIO_DEVICE_ID, nullptr, &HostAudio::Arrived, nullptr);
    EXPECT_EQ(Default(kAudioHardwarePropertyDefaultOutputDevice), speakers) << "routing restored";
    EXPECT_EQ(Default(kAudioHardwarePropertyDefaultSystemOutputDevice), speakers);

    std::lock_guard lock(host.mutex);
    EXPECT_TRUE(host.headersRight);
    for (const uint32_t size : host.sizes) EXPECT_EQ(size, 7200u);
    std::vector<Float32> left;
    // Past the first packets, which may hold the silence before routing settled.
    for (size_t i = 2 * 4800; i < host.samples.size(); i += 2) {
        ASSERT_EQ(host.samples[i], host.samples[i + 1]) << "the same on both channels";
        left.push_back(host.samples[i] / 32768.0f);
    }
    EXPECT_NEAR(Peak(left), DbfsToLevel(-12), 0.003);
    EXPECT_NEAR(Frequency(left, 48000), 440, 1);
    // Without gaps: the sine runs on without a jump between packets.
    float largestStep = 0;
    for (size_t i = 1; i < left.size(); ++i) largestStep = std::max(largestStep, std::fabs(left[i] - left[i - 1]));
    EXPECT_LT(largestStep, 2 * M_PI * 440 / 48000 * DbfsToLevel(-12) * 1.1);

    EXPECT_NEAR(Peak(heard), DbfsToLevel(-12), 0.003) << "the speakers played it through";
    EXPECT_NEAR(Frequency(heard, 48000), 440, 1);
}

TEST_F(SystemAudioEndToEnd, NothingAllocatesOnTheAudioThread) {
    AllocationWatch watch;
    QCP_RegisterAudioDataArrivedCallback(QCP_AUDIO_DEVICE_ID, nullptr, &AllocationWatch::Arrived, &watch);
    ASSERT_TRUE(WaitFor([&] { return watch.allocations >= 0; }, 20s));
    QCP_RegisterAudioDataArrivedCallback(QCP_AUDIO_DEVICE_ID, nullptr, &AllocationWatch::Arrived, nullptr);
    EXPECT_EQ(watch.allocations, 0) << "from the device's cycle to the host's callback, over 30 packets";
}

// Host threads register and unregister the audio device and add and remove
// sources (each a receiver) at once, while packets flow.
TEST_F(SystemAudioEndToEnd, HostThreadsStartAndStopTheChainAtOnce) {
    const AudioObjectID speakers = fSim->DeviceID(kSimSpeakersUID);
    HostAudio host;
    std::thread device([&] {
        for (int round = 0; round < 2; ++round) {
            QCP_RegisterAudioDataArrivedCallback(QCP_AUDIO_DEVICE_ID, nullptr, &HostAudio::Arrived, &host);
            const int seen = host.packets;
            EXPECT_TRUE(WaitFor([&] { return host.packets > seen + 3; }, 20s));
            QCP_RegisterAudioDataArrivedCallback(QCP_AUDIO_DEVICE_ID, nullptr, &HostAudio::Arrived, nullptr);
        }
    });
    std::thread sources([&] {
        for (int round = 0; round < 3; ++round) {
            char* id = nullptr;
            ASSERT_EQ(QCP_CreateSource(QCP_SCREEN_DEVICE_ID, &id), 1);
            EXPECT_EQ(QCP_RemoveSource(QCP_SCREEN_DEVICE_ID, id), 1);
            QCP_DeleteString(id);
        }
    });
    device.join();
    sources.join();
    EXPECT_EQ(Default(kAudioHardwarePropertyDefaultOutputDevice), speakers) << "the last receiver restored routing";
    std::lock_guard lock(host.mutex);
    EXPECT_TRUE(host.headersRight);
    for (const uint32_t size : host.sizes) EXPECT_EQ(size, 7200u) << "whole packets only";
}

} // namespace
