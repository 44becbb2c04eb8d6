// The play-through engine on the simulated sound system: what the capture
// driver records is played on to another device, late by the thru offset;
// its failures print their step; a format change rebuilds it; its I/O paths
// do not allocate; and it holds its latency through an hour of clock drift.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <optional>
#include <string>

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
        EXPECT_EQ(played.size(), 2 * 512 * fSystem->IOCycles(kMonitorUID)) << "the recording reaches back to the start";
        return played;
    }

    // Moves the clock `steps` times by `micros`, waiting each time until
    // each device has run every cycle its clock has reached. Unlike Play it
    // suits any rate and buffer size; the devices must be running.
    template <class Each>
    void Step(std::initializer_list<const char*> uids, int64_t micros, long steps, Each each) {
        for (long i = 0; i < steps; ++i) {
            fClock.Advance(micros);
            for (const char* uid : uids) {
                const AudioObjectID device = fSystem->DeviceID(uid);
                AudioTimeStamp now{};
                UInt32 frames = 0;
                ASSERT_EQ(AudioDeviceGetCurrentTime(device, &now), 0) << uid;
                ASSERT_EQ(Read(device, Address(kAudioDevicePropertyBufferFrameSize), frames), 0) << uid;
                // Half a frame short of the clock: its microseconds are rounded.
                const auto due = static_cast<uint64_t>(std::floor((now.mSampleTime - 0.5) / frames));
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
    EXPECT_GE(out - in, thru - 64);
    EXPECT_LE(out - in, thru + 1024 + 64);

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

// A setup step that fails prints its line and those of the steps around it,
// and stops the setup there; the half-built object fails to start and goes
// quietly. IsRunning's low-byte answer to a failed query is out of reach
// here: the units answer their running state without the device layer.
TEST_F(PlayThrough, AFailedSetupStepPrintsItsLineAndEveryLineAroundIt) {
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

} // namespace
