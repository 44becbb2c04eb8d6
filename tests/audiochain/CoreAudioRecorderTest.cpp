// The HAL-unit recorder on the simulated sound system: what it sets up, what
// it hands to Send (layout, rate, sample time), how it fails, and how it
// rebuilds when the device's rate changes.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "AllocationCounter.h"
#include "AudioUnitTestSupport.h"
#include "CaptureDriver.h"
#include "CoreAudioTestSupport.h"
#include "SteppedSimAudioTest.h"
#include "vnAudioHelper.h"
#include "vnCoreAudioRecorder.h"
#include "zUserLogHistory.h"

namespace {

using namespace coreaudio_test;
using namespace qcp::coreaudio::sim;
using namespace std::chrono_literals;

// Keeps what Send is given, in room reserved up front, and lets a test
// steer the input proc and watch the control operations.
class KeepingRecorder : public vnCoreAudioRecorder {
public:
    struct Block {
        double sampleTime;
        unsigned long long hostMicros;
        int size;
    };
    enum class Call { Stop, Begin };
    struct Event {
        Call call;
        int result;
    };

    explicit KeepingRecorder(AudioDeviceID device) : vnCoreAudioRecorder(device) {
        fBlocks.reserve(8192);
        fSamples.reserve(size_t{4} * 48000 * 2 * 4);
    }

    int BeginCapture(double* sampleRate, unsigned int* channels) override {
        const int result = vnCoreAudioRecorder::BeginCapture(sampleRate, channels);
        Note({Call::Begin, result});
        return result;
    }
    void StopCapture() override {
        const AudioDeviceID device = fDeviceID;
        vnCoreAudioRecorder::StopCapture();
        // As a recorder that records one device for good would.
        if (fKeepDevice) fDeviceID = device;
        Note({Call::Stop, 0});
    }
    OSStatus AudioInputProc(unsigned int* flags, const AudioTimeStamp* time, unsigned int bus, unsigned int frames,
                            AudioBufferList* data) override {
        const int calls = ++fInputCalls;
        const int forcedBus = fForcedBus;
        const unsigned int renderBus = forcedBus >= 0 ? static_cast<unsigned int>(forcedBus) : bus;
        if (calls < 2 || calls > 51) return vnCoreAudioRecorder::AudioInputProc(flags, time, renderBus, frames, data);
        const AllocationCounter counter;
        const OSStatus status = vnCoreAudioRecorder::AudioInputProc(flags, time, renderBus, frames, data);
        fAllocations += counter.count();
        return status;
    }
    void Send(double sampleTime, unsigned long long hostMicros, void* data, int size) override {
        std::lock_guard lock(fMutex);
        if (fBlocks.size() == fBlocks.capacity()) return;
        fBlocks.push_back({sampleTime, hostMicros, size});
        const auto* samples = static_cast<const int16_t*>(data);
        const size_t count = std::min(static_cast<size_t>(size) / 2, fSamples.capacity() - fSamples.size());
        fSamples.insert(fSamples.end(), samples, samples + count);
    }

    std::vector<Block> Blocks() {
        std::lock_guard lock(fMutex);
        return fBlocks;
    }
    // Channel `channel` of what was sent, as floats, from block `first` on.
    std::vector<Float32> Channel(size_t channel, size_t first = 0) {
        std::lock_guard lock(fMutex);
        size_t skip = 0;
        for (size_t i = 0; i < std::min(first, fBlocks.size()); ++i) skip += fBlocks[i].size / 2;
        std::vector<Float32> samples;
        const size_t channels = fClientFormat.mChannelsPerFrame;
        for (size_t i = skip + channel; i < fSamples.size(); i += channels) samples.push_back(fSamples[i] / 32768.0f);
        return samples;
    }
    std::vector<Event> Events() {
        std::lock_guard lock(fMutex);
        return {fEvents.begin(), fEvents.begin() + fEventCount};
    }

    const AudioStreamBasicDescription& ClientFormat() const { return fClientFormat; }
    bool HasConverter() const { return fConverter != nullptr; }
    double TargetRate() const { return fTargetSampleRate; }
    void SetTargetRate(double rate) { fTargetSampleRate = rate; }
    AudioDeviceID Device() const { return fDeviceID; }

    std::atomic<int> fForcedBus{-1};
    std::atomic<bool> fKeepDevice{false};
    std::atomic<int> fInputCalls{0};
    std::atomic<int> fAllocations{0};

private:
    void Note(Event event) {
        std::lock_guard lock(fMutex);
        if (fEventCount < fEvents.size()) fEvents[fEventCount++] = event;
    }

    std::mutex fMutex;
    std::vector<Block> fBlocks;
    std::vector<int16_t> fSamples;
    std::array<Event, 16> fEvents{};
    size_t fEventCount = 0;
};

std::vector<std::string> UserLog() {
    std::vector<std::string> lines;
    for (const zUserLogHistory::Entry& entry : zUserLogHistory::Default()->Entries()) lines.push_back(entry.text);
    return lines;
}

bool Logged(const std::string& line) {
    const auto lines = UserLog();
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

OSStatus CountChanges(AudioObjectID, UInt32, const AudioObjectPropertyAddress*, void* counter) {
    ++*static_cast<std::atomic<int>*>(counter);
    return 0;
}

class CoreAudioRecorder : public SteppedSimAudioTest {
protected:
    void SetUp() override {
        SteppedSimAudioTest::SetUp();
        zUserLogHistory::Default()->Clear();
        // 441 frames are 10 ms at 44.1 kHz: each of Play's steps runs a cycle
        // at either rate.
        for (const char* uid : {kCaptureDriverPlayedIntoUID, kCaptureDriverRecordedFromUID})
            ASSERT_EQ(Write(fSystem->DeviceID(uid), Address(kAudioDevicePropertyBufferFrameSize), UInt32{441}), 0);
    }
    void TearDown() override {
        fRecorder.reset();
        SteppedSimAudioTest::TearDown();
    }

    AudioObjectID RecordedFrom() const { return fSystem->DeviceID(kCaptureDriverRecordedFromUID); }

    // The default output goes into the capture driver, both of whose devices
    // run at `rate`: the tone comes out of the recorded-from device.
    void RouteToneThroughDriver(Float64 rate) {
        for (const char* uid : {kCaptureDriverPlayedIntoUID, kCaptureDriverRecordedFromUID})
            ASSERT_EQ(Write(fSystem->DeviceID(uid), Address(kAudioDevicePropertyNominalSampleRate), rate), 0);
        const AudioObjectID playedInto = fSystem->DeviceID(kCaptureDriverPlayedIntoUID);
        ASSERT_EQ(Write(playedInto, Address(kCaptureDriverPropertyCanBeDefault), kCFBooleanTrue), 0);
        ASSERT_TRUE(fSystem->SetDefault(kAudioHardwarePropertyDefaultOutputDevice, kCaptureDriverPlayedIntoUID));
        DrainNotifications();
    }
    // Waits until every change so far has been told to its listeners: a
    // recorder made now would otherwise hear of the rate set just before.
    void DrainNotifications() {
        std::atomic<int> changes{0};
        const auto frames = Address(kAudioDevicePropertyBufferFrameSize);
        ASSERT_EQ(AudioObjectAddPropertyListener(RecordedFrom(), &frames, CountChanges, &changes), 0);
        ASSERT_EQ(Write(RecordedFrom(), frames, UInt32{440}), 0);
        ASSERT_EQ(Write(RecordedFrom(), frames, UInt32{441}), 0);
        // Listeners run one at a time, in order.
        EXPECT_TRUE(WaitFor([&] { return changes >= 2; }, 10s));
        AudioObjectRemovePropertyListener(RecordedFrom(), &frames, CountChanges, &changes);
    }
    // One 441-frame cycle at 44.1 kHz per step on both driver devices (whole
    // cycles, so that the loop-back neither skips nor repeats a block).
    void PlayDriver(int periods) {
        const std::array<const char*, 2> uids{kCaptureDriverPlayedIntoUID, kCaptureDriverRecordedFromUID};
        std::array<uint64_t, 2> start{};
        for (size_t n = 0; n < uids.size(); ++n) start[n] = fSystem->IOCycles(uids[n]);
        for (int i = 1; i <= periods; ++i) {
            fClock.Advance(10'001);
            for (size_t n = 0; n < uids.size(); ++n)
                ASSERT_TRUE(WaitFor([&] { return fSystem->IOCycles(uids[n]) >= start[n] + i; }, 10s))
                    << uids[n] << " step " << i << " cycles " << fSystem->IOCycles(uids[n]) - start[n];
        }
    }
    void PlayRecordedFrom(int periods) { Play({kCaptureDriverRecordedFromUID}, periods); }
    // Another input unit on the recorded-from device keeps it running once
    // the recorder's unit has gone.
    void KeepRecordedFromRunning() { Started(RecordedFrom(), fHeard.emplace_back(), true); }

    KeepingRecorder& MakeRecorder(AudioDeviceID device) {
        fRecorder = std::make_shared<KeepingRecorder>(device);
        return *fRecorder;
    }
    // Begins; the rate and channels handed out.
    std::pair<double, unsigned int> Begin(KeepingRecorder& recorder) {
        double rate = -1;
        unsigned int channels = 0;
        EXPECT_EQ(recorder.BeginCapture(&rate, &channels), 0);
        return {rate, channels};
    }

    std::shared_ptr<KeepingRecorder> fRecorder;
};

TEST_F(CoreAudioRecorder, WithoutADeviceItFailsAtOnce) {
    KeepingRecorder& recorder = MakeRecorder(0);
    double rate = 0;
    unsigned int channels = 0;
    const uint64_t calls = fSystem->PropertyCalls();
    EXPECT_EQ(recorder.BeginCapture(&rate, &channels), -1);
    EXPECT_EQ(UserLog(), std::vector<std::string>{
                             "System Audio Capture: Unable to start because no device identifier was provided."});
    EXPECT_EQ(fSystem->PropertyCalls(), calls) << "nothing asked of the HAL";
}

TEST_F(CoreAudioRecorder, AtTheHardwareRateItDeliversTheToneUnconverted) {
    RouteToneThroughDriver(44100);
    KeepingRecorder& recorder = MakeRecorder(RecordedFrom());
    const auto [rate, channels] = Begin(recorder);
    EXPECT_EQ(rate, 44100);
    EXPECT_EQ(channels, 2u);
    EXPECT_EQ(recorder.TargetRate(), 44100);
    EXPECT_FALSE(recorder.HasConverter());
    const AudioStreamBasicDescription& format = recorder.ClientFormat();
    EXPECT_EQ(format.mFormatID, kAudioFormatLinearPCM);
    EXPECT_EQ(format.mFormatFlags, 12u);
    EXPECT_EQ(format.mBytesPerFrame, 4u);
    EXPECT_EQ(format.mSampleRate, 44100);

    PlayDriver(60);
    ASSERT_TRUE(WaitFor([&] { return recorder.Blocks().size() >= 60; }, 10s));
    const auto blocks = recorder.Blocks();
    for (size_t i = 0; i < blocks.size(); ++i) {
        EXPECT_EQ(blocks[i].size, 441 * 4) << i;
        EXPECT_EQ(blocks[i].sampleTime, 441.0 * double(i)) << i;
        if (i > 0) {
            EXPECT_GT(blocks[i].hostMicros, blocks[i - 1].hostMicros) << i;
        }
    }
    const auto left = recorder.Channel(0, 5), right = recorder.Channel(1, 5);
    EXPECT_NEAR(Peak(left), DbfsToLevel(-12), 0.002);
    EXPECT_NEAR(Frequency(left, 44100), 440, 1);
    EXPECT_EQ(left, right);
    EXPECT_TRUE(UserLog().empty());
}

TEST_F(CoreAudioRecorder, AtAnotherTargetRateItConvertsAndCountsConvertedFrames) {
    RouteToneThroughDriver(44100);
    KeepingRecorder& recorder = MakeRecorder(RecordedFrom());
    recorder.SetTargetRate(48000);
    const auto [rate, channels] = Begin(recorder);
    EXPECT_EQ(rate, 44100) << "the unit stays at the hardware rate";
    EXPECT_TRUE(recorder.HasConverter());

    PlayDriver(100);
    ASSERT_TRUE(WaitFor([&] { return recorder.Blocks().size() >= 100; }, 10s));
    const auto blocks = recorder.Blocks();
    double frames = 0;
    for (size_t i = 0; i < blocks.size(); ++i) {
        EXPECT_EQ(blocks[i].sampleTime, frames) << i;
        EXPECT_EQ(blocks[i].size % 4, 0) << i;
        frames += blocks[i].size / 4;
    }
    // 441 frames at 44.1 kHz are 480 at 48 kHz; the converter's lag holds a
    // few back.
    EXPECT_NEAR(frames, 480.0 * double(blocks.size()), 64);
    EXPECT_GT(blocks.back().size, 441 * 4);
    const auto left = recorder.Channel(0, 10);
    EXPECT_NEAR(Peak(left), DbfsToLevel(-12), 0.01);
    EXPECT_NEAR(Frequency(left, 48000), 440, 1);
}

TEST_F(CoreAudioRecorder, AFailedRenderStillDeliversTheRenderBuffer) {
    RouteToneThroughDriver(44100);
    KeepingRecorder& recorder = MakeRecorder(RecordedFrom());
    Begin(recorder);
    PlayDriver(20);
    ASSERT_TRUE(WaitFor([&] { return recorder.Blocks().size() >= 20; }, 10s));
    const size_t good = recorder.Blocks().size();
    const std::vector<Float32> lastGood(recorder.Channel(0, good - 1));
    ASSERT_GT(Peak(lastGood), 0.2f);

    recorder.fForcedBus = 0; // the unit renders input on element 1 only
    PlayDriver(3);
    ASSERT_TRUE(WaitFor([&] { return recorder.Blocks().size() >= good + 3; }, 10s));
    const auto blocks = recorder.Blocks();
    for (size_t i = good; i < blocks.size(); ++i) {
        EXPECT_EQ(blocks[i].size, 441 * 4) << i;
        EXPECT_EQ(blocks[i].sampleTime, 441.0 * double(i)) << i;
    }
    const auto failed = recorder.Channel(0, good);
    ASSERT_GE(failed.size(), 3 * lastGood.size());
    for (size_t block = 0; block < 3; ++block)
        EXPECT_TRUE(std::equal(lastGood.begin(), lastGood.end(), failed.begin() + block * lastGood.size()))
            << "block " << block << " is the last one rendered";
}

TEST_F(CoreAudioRecorder, NothingAllocatesInTheInputProc) {
    RouteToneThroughDriver(44100);
    KeepingRecorder& recorder = MakeRecorder(RecordedFrom());
    recorder.SetTargetRate(48000);
    Begin(recorder);
    PlayDriver(55);
    ASSERT_TRUE(WaitFor([&] { return recorder.fInputCalls >= 55; }, 10s));
    EXPECT_EQ(recorder.fAllocations, 0);
}

TEST_F(CoreAudioRecorder, ARateChangeStopsAndBeginsAgainWhichFailsWithoutADevice) {
    KeepRecordedFromRunning();
    KeepingRecorder& recorder = MakeRecorder(RecordedFrom());
    Begin(recorder);
    PlayRecordedFrom(3);
    ASSERT_TRUE(WaitFor([&] { return recorder.Blocks().size() >= 3; }, 10s));

    ASSERT_EQ(Write(RecordedFrom(), Address(kAudioDevicePropertyNominalSampleRate), Float64{44100}), 0);
    ASSERT_TRUE(WaitFor([&] { return recorder.Events().size() >= 3; }, 10s));
    const auto events = recorder.Events();
    EXPECT_EQ(events[0].call, KeepingRecorder::Call::Begin); // the test's own
    EXPECT_EQ(events[1].call, KeepingRecorder::Call::Stop);
    EXPECT_EQ(events[2].call, KeepingRecorder::Call::Begin);
    EXPECT_EQ(events[2].result, -1);
    EXPECT_EQ(recorder.Device(), 0u);
    EXPECT_TRUE(Logged("System Audio Capture: Unable to start because no device identifier was provided."));

    const size_t delivered = recorder.Blocks().size();
    PlayRecordedFrom(3);
    EXPECT_EQ(recorder.Blocks().size(), delivered) << "the unit is gone";
}

TEST_F(CoreAudioRecorder, ARateChangeRebuildsAtTheNewRateWhenTheDeviceIsKept) {
    KeepingRecorder& recorder = MakeRecorder(RecordedFrom());
    recorder.fKeepDevice = true;
    const auto [rate, channels] = Begin(recorder);
    EXPECT_EQ(rate, 48000);
    PlayRecordedFrom(5);
    ASSERT_TRUE(WaitFor([&] { return recorder.Blocks().size() >= 5; }, 10s));

    // While the unit delivers: the rebuild runs on the notification thread.
    ASSERT_EQ(Write(RecordedFrom(), Address(kAudioDevicePropertyNominalSampleRate), Float64{44100}), 0);
    ASSERT_TRUE(WaitFor([&] { return recorder.Events().size() >= 3; }, 10s));
    EXPECT_EQ(recorder.Events()[2].result, 0);
    EXPECT_EQ(recorder.ClientFormat().mSampleRate, 44100);
    EXPECT_TRUE(recorder.HasConverter()) << "the target stays at the first hardware rate";

    const size_t before = recorder.Blocks().size();
    PlayRecordedFrom(10);
    ASSERT_TRUE(WaitFor([&] { return recorder.Blocks().size() >= before + 8; }, 10s));
    const auto blocks = recorder.Blocks();
    size_t restart = before;
    while (restart < blocks.size() && blocks[restart].sampleTime != 0) ++restart;
    EXPECT_LT(restart, blocks.size()) << "the sample time starts again";
}

TEST_F(CoreAudioRecorder, FailingStepsSayWhyWithTheStatus) {
    const AudioObjectID device = RecordedFrom();
    const OSStatus fault = kAudioHardwareIllegalOperationError;
    const std::string why = vnAudioHelper_DescriptionForError(fault);
    struct Case {
        AudioObjectPropertySelector selector;
        SimAudioCall call;
        std::string message;
        int result;
    };
    const std::vector<Case> cases{
        {kAudioDevicePropertyNominalSampleRate, SimAudioCall::GetData,
         "System Audio Capture: Unable to start because the current device could not be changed. " + why, -1},
        {kAudioDevicePropertyBufferFrameSize, SimAudioCall::GetData,
         "System Audio Capture: Unable to start because the buffer frame size could not be obtained. " + why, -1},
        {kAudioObjectPropertySelectorWildcard, SimAudioCall::StartIO,
         "System Audio Capture: Unable to capture because the audio unit failed to start. " + why, fault},
    };
    for (const Case& c : cases) {
        zUserLogHistory::Default()->Clear();
        fSystem->InjectFault(device, c.selector, fault, c.call);
        KeepingRecorder& recorder = MakeRecorder(device);
        double rate = 0;
        unsigned int channels = 0;
        EXPECT_EQ(recorder.BeginCapture(&rate, &channels), c.result) << c.message;
        EXPECT_EQ(UserLog(), std::vector<std::string>{c.message});
        recorder.StopCapture();
        fSystem->ClearFaults();
    }
}

TEST_F(CoreAudioRecorder, WithoutChannelsTheFormatIsRefused) {
    fSystem->InjectFault(RecordedFrom(), kAudioDevicePropertyStreamConfiguration, kAudioHardwareIllegalOperationError,
                         SimAudioCall::GetSize);
    KeepingRecorder& recorder = MakeRecorder(RecordedFrom());
    double rate = 0;
    unsigned int channels = 7;
    EXPECT_EQ(recorder.BeginCapture(&rate, &channels), -1);
    EXPECT_EQ(channels, 0u);
    const auto lines = UserLog();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].rfind("System Audio Capture: Unable to start because the output format could not be set on "
                             "the AUHAL component. ",
                             0),
              0u)
        << lines[0];
}

TEST_F(CoreAudioRecorder, ARecorderGoneBeforeItsDeviceChangesIsNotCalled) {
    KeepingRecorder& recorder = MakeRecorder(RecordedFrom());
    Begin(recorder);
    PlayRecordedFrom(2);
    fRecorder.reset(); // still running: the destructor disposes the unit

    std::atomic<int> changes{0};
    const auto rate = Address(kAudioDevicePropertyNominalSampleRate);
    ASSERT_EQ(AudioObjectAddPropertyListener(RecordedFrom(), &rate, CountChanges, &changes), 0);
    ASSERT_EQ(Write(RecordedFrom(), rate, Float64{44100}), 0);
    ASSERT_EQ(Write(RecordedFrom(), rate, Float64{48000}), 0);
    // Listeners run one at a time in order: by the second change's call the
    // first change has been told to everyone.
    ASSERT_TRUE(WaitFor([&] { return changes >= 2; }, 10s));
    AudioObjectRemovePropertyListener(RecordedFrom(), &rate, CountChanges, &changes);
    // A listener left registered would have rebuilt a freed recorder and
    // logged the missing device.
    EXPECT_FALSE(Logged("System Audio Capture: Unable to start because no device identifier was provided."));
}

TEST(CoreAudioRecorderFunctions, LookUpsAndCallbacksRefuseWhatTheyCannotUse) {
    qcp::coreaudio::Install(CreateDefaultSimAudioSystem());
    EXPECT_NE(vnCoreAudioRecorder::get_id_from_uid(kCaptureDriverRecordedFromUID), 0u);
    EXPECT_EQ(vnCoreAudioRecorder::get_id_from_uid(kCaptureDriverRecordedFromUID),
              vnAudioHelper_GetDeviceID(kCaptureDriverRecordedFromUID));
    EXPECT_EQ(vnCoreAudioRecorder::get_id_from_uid("no such device"), 0u);
    EXPECT_EQ(vnCoreAudioRecorder::get_id_from_uid(nullptr), 0u);
    qcp::coreaudio::Install(nullptr);

    AudioTimeStamp time{};
    EXPECT_EQ(static_AudioInputProc(nullptr, nullptr, &time, 1, 512, nullptr), 0);
    EXPECT_EQ(static_RateListener(kAudioObjectUnknown, 0, nullptr, nullptr), 0);

    // Each block is handed over once; then "no more" ends the conversion.
    std::array<int16_t, 8> samples{};
    vnConverterInput input{samples.data(), sizeof samples, 4, 2};
    AudioBufferList list{1, {{2, 0, nullptr}}};
    UInt32 packets = 100;
    EXPECT_EQ(fill_complex_input_proc(nullptr, &packets, &list, nullptr, &input), 0);
    EXPECT_EQ(packets, 4u);
    EXPECT_EQ(list.mBuffers[0].mData, samples.data());
    EXPECT_EQ(list.mBuffers[0].mDataByteSize, sizeof samples);
    EXPECT_NE(fill_complex_input_proc(nullptr, &packets, &list, nullptr, &input), 0);
    EXPECT_EQ(packets, 0u);
}

} // namespace
