// The play-through engine on the simulated sound system: what the capture
// driver records is played on to another device, late by the thru offset;
// its failures print their step; a format change rebuilds it; its I/O paths
// do not allocate; and it holds its latency through an hour of clock drift.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cmath>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

#include "AllocationCounter.h"
#include "CAPlayThrough.h"
#include "CAPlayThroughHost.h"
#include "CaptureDriver.h"
#include "CoreAudioTestSupport.h"
#include "SteppedSimAudioTest.h"

namespace {

using namespace coreaudio_test;
using namespace qcp::coreaudio::sim;
using namespace std::chrono_literals;

constexpr const char* kMonitorUID = "com.qcp.test.monitor";
// Long enough that the thru offset stands well clear of a cycle's jitter.
constexpr UInt32 kMonitorSafetyOffset = 4800;
constexpr double kToneLevel = -12;

// The frame at which a signal first rises above the noise floor; -1 if never.
long Onset(const std::vector<Float32>& samples) {
    for (size_t i = 0; i < samples.size(); ++i) {
        if (std::fabs(samples[i]) > 0.05f) return static_cast<long>(i);
    }
    return -1;
}

std::string ErrorLine(OSStatus status, int line) {
    return "CAPlayThrough Error: " + std::to_string(status) + " ->  src/CAPlayThrough/CAPlayThrough:  " +
           std::to_string(line) + "\n";
}

class PlayThrough : public SteppedSimAudioTest {
protected:
    AudioObjectID RecordedFrom() const { return fSystem->DeviceID(kCaptureDriverRecordedFromUID); }

    // What the system plays goes into the capture driver, as during capture.
    void RouteOutputIntoTheDriver() {
        ASSERT_EQ(Write(fSystem->DeviceID(kCaptureDriverPlayedIntoUID), Address(kCaptureDriverPropertyCanBeDefault),
                        kCFBooleanTrue),
                  0);
        ASSERT_TRUE(fSystem->SetDefault(kAudioHardwarePropertyDefaultOutputDevice, kCaptureDriverPlayedIntoUID));
    }

    // Speakers in step with the driver: 512 frames at 48 kHz.
    AudioObjectID PlugMonitor() {
        SimAudioDeviceSetup setup;
        setup.uid = setup.name = kMonitorUID;
        setup.outputStreams = {2};
        setup.outputSafetyOffset = kMonitorSafetyOffset;
        return fSystem->AddDevice(setup);
    }

    // Everything the monitor has played since it first ran, interleaved.
    std::vector<Float32> Monitored() {
        const auto played = fSystem->Recording(kMonitorUID, 2 * 96000);
        EXPECT_EQ(played.size(), 2 * 512 * fSystem->IOCycles(kMonitorUID)) << "the recording reaches the start";
        return played;
    }

    // The cycles `uid` has had time for: every one its clock has passed.
    virtual uint64_t Due(const char* uid) {
        const AudioObjectID device = fSystem->DeviceID(uid);
        AudioTimeStamp now{};
        UInt32 frames = 0;
        EXPECT_EQ(AudioDeviceGetCurrentTime(device, &now), 0) << uid;
        EXPECT_EQ(Read(device, Address(kAudioDevicePropertyBufferFrameSize), frames), 0) << uid;
        // Half a frame short of the clock: its microseconds are rounded.
        return frames ? static_cast<uint64_t>(std::floor((now.mSampleTime - 0.5) / frames)) : 0;
    }

    // Moves the clock `steps` times by `micros`, waiting each time until
    // each device has run the cycles it is due. Unlike Play it suits any
    // rate and buffer size; the devices must be running.
    template <class Each>
    void Step(std::initializer_list<const char*> uids, int64_t micros, long steps, Each each) {
        for (long i = 0; i < steps; ++i) {
            fClock.Advance(micros);
            for (const char* uid : uids) {
                const uint64_t due = Due(uid);
                ASSERT_TRUE(WaitFor([&] { return fSystem->IOCycles(uid) >= due; }, 10s)) << uid << " " << i;
            }
            each();
        }
    }
    void Step(std::initializer_list<const char*> uids, int64_t micros, long steps) {
        Step(uids, micros, steps, [] {});
    }
};

TEST_F(PlayThrough, TheDriversToneIsPlayedOnLateByTheThruOffset) {
    PlugMonitor();
    Heard& recorded = fHeard.emplace_back();
    Started(RecordedFrom(), recorded, true);
    CAPlayThroughHost host(RecordedFrom(), fSystem->DeviceID(kMonitorUID));
    ASSERT_TRUE(host.PlayThroughExists());
    ASSERT_EQ(host.Start(), noErr);
    EXPECT_TRUE(host.IsRunning());
    EXPECT_EQ(host.InputDeviceID(), RecordedFrom());

    // Silence first, so that the tone's onset marks where it went in.
    Play({kCaptureDriverRecordedFromUID, kMonitorUID}, 20);
    RouteOutputIntoTheDriver();
    Play({kCaptureDriverPlayedIntoUID, kCaptureDriverRecordedFromUID, kMonitorUID}, 70);

    std::vector<Float32> input;
    {
        std::lock_guard lock(recorded.mutex);
        input = recorded.input;
    }
    const auto played = Monitored();
    const auto left = ChannelOf(played, 2, 0), right = ChannelOf(played, 2, 1);
    const long in = Onset(input), out = Onset(left);
    ASSERT_GT(in, 20 * 512) << "nothing before the tone was routed in";
    ASSERT_GT(out, in);
    const double thru = 512 + 512 + kMonitorSafetyOffset;
    std::printf("tone in at frame %ld, out at %ld: %ld frames late, thru offset %.0f\n", in, out, out - in, thru);
    // Later by up to two buffers: the devices' time stamps lead and lag
    // their cycles, and the varispeed reads ahead of what it plays.
    EXPECT_GE(out - in, thru - 64);
    EXPECT_LE(out - in, thru + 2 * 512 + 64);

    const std::vector<Float32> tone(left.begin() + out + 2048, left.end());
    EXPECT_NEAR(Peak(tone), DbfsToLevel(kToneLevel), 0.005);
    EXPECT_NEAR(Frequency(tone, 48000), 440, 1);
    EXPECT_EQ(left, right);
}

// What the failures print, on standard output and error, in one capture.
struct Printed {
    std::string out, err;
};
template <class Action>
Printed Capturing(Action action) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    action();
    Printed printed;
    printed.out = testing::internal::GetCapturedStdout();
    printed.err = testing::internal::GetCapturedStderr();
    return printed;
}

constexpr OSStatus kFault = kAudioHardwareUnspecifiedError;
constexpr const char* kCannotInit = "CAPlayThrough ERROR: Cannot Init CAPlayThrough";

// A setup step that fails prints its line and those of the steps that called
// it, and stops the setup there; the half-built object fails to start and goes
// quietly. IsRunning's low-byte answer to a failed query is out of reach
// here: the units answer their running state without the device layer.
TEST_F(PlayThrough, AFailedSetupStepPrintsItsLineAndThoseOfItsCallers) {
    const AudioObjectID monitor = PlugMonitor();
    struct Case {
        AudioObjectID object;
        AudioObjectPropertySelector selector;
        AudioDeviceID input;
        std::string lines;
        OSStatus start;
        int startLine;
    };
    const Case cases[] = {
        // The default input, unreadable: every step up the chain prints.
        {kAudioObjectSystemObject, kAudioHardwarePropertyDefaultInputDevice, 0,
         ErrorLine(kFault, 322) + ErrorLine(kFault, 464) + ErrorLine(kFault, 163), kAudioUnitErr_Uninitialized, 213},
        // Setting the output device answers unprinted; its caller prints.
        {monitor, kAudioDevicePropertyNominalSampleRate, RecordedFrom(),
         ErrorLine(kFault, 359) + ErrorLine(kFault, 167), kAUGraphErr_CannotDoInCurrentContext, 216},
        {RecordedFrom(), kAudioDevicePropertyBufferFrameSize, RecordedFrom(),
         ErrorLine(kFault, 539) + ErrorLine(kFault, 170), kAUGraphErr_CannotDoInCurrentContext, 216},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.startLine);
        fSystem->InjectFault(c.object, c.selector, kFault, SimAudioCall::GetData);
        std::optional<CAPlayThrough> playThrough;
        const Printed built = Capturing([&] { playThrough.emplace(c.input, monitor); });
        fSystem->ClearFaults();
        EXPECT_EQ(built.out, c.lines);
        EXPECT_EQ(built.err, kCannotInit);
        OSStatus status = noErr;
        const Printed started = Capturing([&] { status = playThrough->Start(); });
        EXPECT_EQ(status, c.start);
        EXPECT_EQ(started.out, ErrorLine(c.start, c.startLine));
        const Printed gone = Capturing([&] { playThrough.reset(); });
        EXPECT_EQ(gone.err, "");
    }
}

TEST_F(PlayThrough, AFailedStartPrintsItsLineAndTheNextStartRuns) {
    PlugMonitor();
    const Printed built = Capturing([&] {
        CAPlayThroughHost host(RecordedFrom(), fSystem->DeviceID(kMonitorUID));
        fSystem->InjectFault(RecordedFrom(), kAudioObjectPropertySelectorWildcard, kFault, SimAudioCall::StartIO);
        EXPECT_EQ(host.Start(), kFault);
        EXPECT_FALSE(host.IsRunning());
        fSystem->ClearFaults();
        EXPECT_EQ(host.Start(), noErr);
        EXPECT_TRUE(host.IsRunning());
        Play({kCaptureDriverRecordedFromUID, kMonitorUID}, 3);
        EXPECT_EQ(host.Stop(), noErr);
        EXPECT_FALSE(host.IsRunning());
    });
    EXPECT_EQ(built.out, ErrorLine(kFault, 213));
    EXPECT_EQ(built.err, "");
}

// Render-time trouble never stops the output: while the input's clock
// cannot be read the output plays silence, and the tone once it can.
TEST_F(PlayThrough, WhileTheInputsClockCannotBeReadTheOutputIsSilent) {
    PlugMonitor();
    RouteOutputIntoTheDriver();
    CAPlayThroughHost host(RecordedFrom(), fSystem->DeviceID(kMonitorUID));
    fSystem->InjectFault(RecordedFrom(), kAudioObjectPropertySelectorWildcard, kFault, SimAudioCall::CurrentTime);
    ASSERT_EQ(host.Start(), noErr);
    Play({kCaptureDriverPlayedIntoUID, kCaptureDriverRecordedFromUID, kMonitorUID}, 40);
    EXPECT_EQ(Peak(Monitored()), 0);
    EXPECT_TRUE(host.IsRunning());

    fSystem->ClearFaults();
    Play({kCaptureDriverPlayedIntoUID, kCaptureDriverRecordedFromUID, kMonitorUID}, 40);
    const auto played = ChannelOf(Monitored(), 2, 0);
    EXPECT_NEAR(Peak(std::vector<Float32>(played.end() - 9600, played.end())), DbfsToLevel(kToneLevel), 0.005);
}

// A new sample rate on the input's stream rebuilds the play-through at that
// rate: the tone keeps its pitch. Left alone, the old one would take 44.1 kHz
// input for 48 kHz and play it sharp.
TEST_F(PlayThrough, AnInputStreamsNewFormatRebuildsThePlayThroughWhichPlaysOn) {
    PlugMonitor();
    RouteOutputIntoTheDriver();
    CAPlayThroughHost host(RecordedFrom(), fSystem->DeviceID(kMonitorUID));
    ASSERT_EQ(host.Start(), noErr);
    Play({kCaptureDriverPlayedIntoUID, kCaptureDriverRecordedFromUID, kMonitorUID}, 20);
    EXPECT_EQ(host.Resets(), 0u);

    // The driver's other side first: that is no input stream of the host's.
    ASSERT_EQ(Write(fSystem->DeviceID(kCaptureDriverPlayedIntoUID), Address(kAudioDevicePropertyNominalSampleRate),
                    44100.0),
              0);
    AudioStreamID stream = 0;
    ASSERT_EQ(Read(RecordedFrom(), Address(kAudioDevicePropertyStreams, kAudioObjectPropertyScopeInput), stream), 0);
    AudioStreamBasicDescription format{};
    ASSERT_EQ(Read(stream, Address(kAudioStreamPropertyPhysicalFormat), format), 0);
    format.mSampleRate = 44100;
    ASSERT_EQ(Write(stream, Address(kAudioStreamPropertyPhysicalFormat), format), 0);
    ASSERT_TRUE(WaitFor([&] { return host.Resets() == 1; }, 10s));
    EXPECT_TRUE(host.IsRunning());
    EXPECT_EQ(host.InputDeviceID(), RecordedFrom());

    Step({kCaptureDriverPlayedIntoUID, kCaptureDriverRecordedFromUID, kMonitorUID}, kPeriodMicros, 60);
    const auto played = ChannelOf(Monitored(), 2, 0);
    const std::vector<Float32> tone(played.end() - 19200, played.end());
    EXPECT_NEAR(Peak(tone), DbfsToLevel(kToneLevel), 0.005);
    EXPECT_NEAR(Frequency(tone, 48000), 440, 1);
    EXPECT_EQ(host.Resets(), 1u);
}

// Two procs of the test's own around the engine's on one device: the first
// starts counting the I/O thread's allocations, the second stops, so that
// the count covers the engine's cycle alone, from the tenth cycle on.
struct AllocationsAround {
    std::optional<AllocationCounter> counter; // I/O thread only
    int cycles = 0;                           // I/O thread only
    std::atomic<int> allocations{0};
    std::atomic<int> counted{0};

    static OSStatus Before(AudioObjectID, const AudioTimeStamp*, const AudioBufferList*, const AudioTimeStamp*,
                           AudioBufferList*, const AudioTimeStamp*, void* self) {
        auto& around = *static_cast<AllocationsAround*>(self);
        if (++around.cycles >= 10) around.counter.emplace();
        return noErr;
    }
    static OSStatus After(AudioObjectID, const AudioTimeStamp*, const AudioBufferList*, const AudioTimeStamp*,
                          AudioBufferList*, const AudioTimeStamp*, void* self) {
        auto& around = *static_cast<AllocationsAround*>(self);
        if (!around.counter) return noErr;
        around.allocations += around.counter->count();
        around.counter.reset();
        ++around.counted;
        return noErr;
    }
};

TEST_F(PlayThrough, NothingAllocatesInTheInputOrOutputCycleOnceRunning) {
    PlugMonitor();
    RouteOutputIntoTheDriver();
    AllocationsAround input, output;
    const std::pair<AudioObjectID, AllocationsAround*> devices[] = {{RecordedFrom(), &input},
                                                                     {fSystem->DeviceID(kMonitorUID), &output}};
    CAPlayThroughHost host(RecordedFrom(), fSystem->DeviceID(kMonitorUID));
    // A device calls its procs in the order they started.
    for (auto [device, around] : devices)
        ASSERT_EQ(fSystem->StartDeviceIO(device, &AllocationsAround::Before, around), 0);
    ASSERT_EQ(host.Start(), noErr);
    for (auto [device, around] : devices)
        ASSERT_EQ(fSystem->StartDeviceIO(device, &AllocationsAround::After, around), 0);

    Play({kCaptureDriverPlayedIntoUID, kCaptureDriverRecordedFromUID, kMonitorUID}, 70);
    for (auto [device, around] : devices) {
        fSystem->StopDeviceIO(device, &AllocationsAround::Before, around);
        fSystem->StopDeviceIO(device, &AllocationsAround::After, around);
        EXPECT_GE(around->counted, 60);
        EXPECT_EQ(around->allocations, 0) << device;
    }
    const auto played = ChannelOf(Monitored(), 2, 0);
    EXPECT_NEAR(Peak(std::vector<Float32>(played.end() - 9600, played.end())), DbfsToLevel(kToneLevel), 0.005)
        << "the engine ran all along";
}

// How far behind the newest input each output read lags, sampled after
// every clock step.
struct Latency {
    long samples = 0;
    double sum = 0, squares = 0;
    int64_t least = INT64_MAX, most = INT64_MIN;

    double Mean() const { return sum / double(samples); }
    double Spread() const { return std::sqrt(squares / double(samples) - Mean() * Mean()); }
};

// Two devices 0.5 % apart: the output's clock runs fast. At 8 kHz, as the
// drift and the engine's arithmetic are counted in frames and a low rate
// keeps an hour's resampling within the test's time.
class PlayThroughDrift : public PlayThrough {
protected:
    static constexpr const char* kIn = "com.qcp.test.drift.in";
    static constexpr const char* kOut = "com.qcp.test.drift.out";
    static constexpr Float64 kRate = 8000;
    static constexpr UInt32 kFrames = 512;
    // Twenty input buffers, rounded up to a power of two.
    static constexpr int64_t kRingFrames = 16384;
    // The clock moves half a second (about eight cycles) a step, so that an
    // hour takes seconds; a long input safety offset puts the read half a
    // ring behind the input, where such steps alone never carry it out.
    static constexpr int64_t kStep = kSecond / 2;
    static constexpr UInt32 kInputSafetyOffset = 6176;

    void SetUp() override {
        PlayThrough::SetUp();
        SimAudioDeviceSetup in;
        in.uid = in.name = kIn;
        in.inputStreams = {1};
        in.nominalRate = kRate;
        in.availableRates = {kRate};
        in.bufferFrameSize = kFrames;
        in.inputSafetyOffset = kInputSafetyOffset;
        in.canBeDefault = false;
        fSystem->AddDevice(in);
        SimAudioDeviceSetup out = in;
        out.uid = out.name = kOut;
        out.inputStreams.clear();
        out.outputStreams = {1};
        out.inputSafetyOffset = 0;
        out.clockRate = 1.005;
        fSystem->AddDevice(out);
        fPlayThrough.emplace(fSystem->DeviceID(kIn), fSystem->DeviceID(kOut));
        // Nothing else plays: the tone's application would fill the
        // speakers for the whole hour. The engine is built by now, which
        // needs a default output.
        ASSERT_TRUE(fSystem->RemoveDevice(kSimSpeakersUID));
    }
    void TearDown() override {
        fPlayThrough.reset();
        PlayThrough::TearDown();
    }

    // Starts the play-through and runs it for two seconds, a cycle a step;
    // the soft resets of its start. Until the input has recorded a thru
    // offset's worth, the read wants frames from before its time 0, which
    // the ring never held: every output cycle of that first second resets.
    uint32_t Started() {
        EXPECT_EQ(fPlayThrough->Start(), noErr);
        fStart = ManualClock::Now();
        Step({kIn, kOut}, kFrames * kSecond / int64_t(kRate), int64_t(2 * kRate / kFrames));
        return fPlayThrough->SoftResets();
    }

    Latency Run(int64_t seconds) {
        Latency latency;
        const long steps = static_cast<long>(seconds * kSecond / kStep);
        Step({kIn, kOut}, kStep, steps, [&] {
            const int64_t lag = fPlayThrough->LastReadLag();
            latency.least = std::min(latency.least, lag);
            latency.most = std::max(latency.most, lag);
            ++latency.samples;
            latency.sum += double(lag);
            latency.squares += double(lag) * double(lag);
        });
        std::printf("%lld s of drift: lag mean %.0f frames, spread %.0f, range %lld..%lld; thru offset %.0f; %u soft "
                    "resets\n",
                    static_cast<long long>(seconds), latency.Mean(), latency.Spread(),
                    static_cast<long long>(latency.least), static_cast<long long>(latency.most),
                    fPlayThrough->ThruOffset(), fPlayThrough->SoftResets());
        return latency;
    }

    // Both devices started together, and the clock moves only here; a
    // microsecond short of it, as the sim rounds their cycles' times.
    uint64_t Due(const char* uid) override {
        const double clock = std::string_view(uid) == kOut ? 1.005 : 1;
        return static_cast<uint64_t>(double(ManualClock::Now() - fStart - 1) * kRate * clock / (kFrames * 1e6));
    }

    std::optional<CAPlayThrough> fPlayThrough;
    int64_t fStart = 0;
};

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
#define QCP_PLAYTHROUGH_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer) || __has_feature(address_sanitizer)
#define QCP_PLAYTHROUGH_SANITIZED 1
#endif
#endif
#ifdef QCP_PLAYTHROUGH_SANITIZED
constexpr int64_t kDriftSeconds = 600;
#else
constexpr int64_t kDriftSeconds = 3600;
#endif

// The varispeed rate taken from the clocks keeps the read where it started:
// no soft reset once running, and the lag within the buffered input. After
// a step the lag moves only with the order the two devices ran its cycles
// in (less a step's frames when the output ran first); any drift widens
// that range, and uncompensated it would move 40 frames a second.
TEST_F(PlayThroughDrift, AnHourOfDriftKeepsTheReadInsideTheBufferedInputAtAConstantLatency) {
    const uint32_t atStart = Started();
    const Latency latency = Run(kDriftSeconds);
    EXPECT_EQ(fPlayThrough->SoftResets(), atStart) << "soft resets once running";
    EXPECT_GE(latency.least, int64_t{kFrames});
    EXPECT_LE(latency.most, kRingFrames);
    EXPECT_LE(latency.most - latency.least, int64_t(kRate) * kStep / kSecond + 4 * kFrames);
}

// With the output's clock unreadable the play-through runs at rate 1: the
// read drifts out of the buffered input and soft-resets, every three
// minutes or so.
TEST_F(PlayThroughDrift, AtRateOneTheReadDriftsOutAndSoftResets) {
    fSystem->InjectFault(fSystem->DeviceID(kOut), kAudioObjectPropertySelectorWildcard, kFault,
                         SimAudioCall::CurrentTime);
    const uint32_t atStart = Started();
    Run(600);
    EXPECT_GE(fPlayThrough->SoftResets(), atStart + 2);
}

} // namespace
