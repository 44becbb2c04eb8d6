// The capture-driver recorder: the routing it sets up and puts back, the
// real output it chooses, and what it hands the engine.
#include "SystemAudioChainTest.h"
#include "AudioUnitTestSupport.h"
#include "ManualClock.h"
#include "WaitFor.h"
#include "vnAudioVolumeMirror.h"
#include "vnOstrelAudioCaptureRecorder.h"

namespace {

using namespace std::chrono_literals;

class CaptureRecorder : public SystemAudioChainTest {
protected:
    std::shared_ptr<vnOstrelAudioCaptureRecorder> Make(const char* uid = kCaptureDriverRecordedFromUID,
                                                       bool playThrough = false) {
        return std::make_shared<vnOstrelAudioCaptureRecorder>(fSim->DeviceID(uid), playThrough, fEngine);
    }
    CountingEngine fEngine;
};

TEST_F(CaptureRecorder, WithoutTheDriverNothingIsRouted) {
    const AudioObjectID speakers = fSim->DeviceID(kSimSpeakersUID);
    auto recorder = Make(qcp::coreaudio::sim::kSimMicrophoneUID);
    ASSERT_TRUE(fSim->RemoveDriver());
    EXPECT_EQ(recorder->PrepareToRecord(), -1);
    EXPECT_TRUE(Logged("System Audio Capture: Unable to capture audio because the Ostrel Audio Capture driver could "
                       "not be found."));
    EXPECT_EQ(Default(kAudioHardwarePropertyDefaultOutputDevice), speakers);
    EXPECT_EQ(Default(kAudioHardwarePropertyDefaultSystemOutputDevice), speakers);
    recorder->StopCapture();
    EXPECT_EQ(Default(kAudioHardwarePropertyDefaultOutputDevice), speakers);
}

TEST_F(CaptureRecorder, RoutesToTheDriverHandsTheEngineWhatPlaysAndRestoresByUID) {
    auto recorder = Make();
    {
        ManualClock clock;
        ASSERT_EQ(recorder->PrepareToRecord(), 0);
        EXPECT_FALSE(recorder->IsPrepareFinished());
        clock.Advance(333'000);
        EXPECT_FALSE(recorder->IsPrepareFinished());
        clock.Advance(400);
        EXPECT_TRUE(recorder->IsPrepareFinished());
    }
    const AudioObjectID driver = fSim->DeviceID(kCaptureDriverPlayedIntoUID);
    EXPECT_EQ(Default(kAudioHardwarePropertyDefaultOutputDevice), driver);
    EXPECT_EQ(Default(kAudioHardwarePropertyDefaultSystemOutputDevice), driver);
    double rate = 0;
    unsigned int channels = 0;
    EXPECT_EQ(recorder->BeginCapture(&rate, &channels), 0);
    EXPECT_EQ(rate, 48000);
    EXPECT_EQ(channels, 2u);
    EXPECT_TRUE(WaitFor([&] { return fEngine.bytes > 48000; }, 10s)) << "the engine receives what is played";

    // The speakers are unplugged and come back under a new id.
    ASSERT_TRUE(fSim->RemoveDevice(kSimSpeakersUID));
    qcp::coreaudio::sim::SimAudioDeviceSetup speakers;
    speakers.uid = kSimSpeakersUID;
    speakers.name = "Simulated Speakers";
    speakers.outputStreams = {2};
    const AudioObjectID back = fSim->AddDevice(speakers);
    recorder->StopCapture();
    EXPECT_EQ(Default(kAudioHardwarePropertyDefaultOutputDevice), back);
    EXPECT_EQ(Default(kAudioHardwarePropertyDefaultSystemOutputDevice), back);
    EXPECT_FALSE(fSim->SetDefault(kAudioHardwarePropertyDefaultOutputDevice, kCaptureDriverPlayedIntoUID))
        << "the driver's device may no longer become a default";
    EXPECT_EQ(UserLog(), std::vector<std::string>{});
}

TEST_F(CaptureRecorder, WithTheDriverAlreadyTheOutputTheFirstOutputDeviceIsTheRealOne) {
    const AudioObjectID speakers = fSim->DeviceID(kSimSpeakersUID);
    ASSERT_EQ(Volume_Set(speakers, 0.25f), noErr);
    LeaveRoutingOnTheDriver();
    auto recorder = Make();
    ASSERT_EQ(recorder->PrepareToRecord(), 0);
    Float32 volume = 0;
    ASSERT_EQ(Volume_Get(fSim->DeviceID(kCaptureDriverPlayedIntoUID), volume), noErr);
    EXPECT_FLOAT_EQ(volume, 0.25f) << "the speakers' volume, mirrored onto the driver";
    recorder->StopCapture();
}

TEST_F(CaptureRecorder, PlayingThroughTheSpeakersStillHearTheTone) {
    auto recorder = Make(kCaptureDriverRecordedFromUID, true);
    ASSERT_EQ(recorder->PrepareToRecord(), 0);
    const uint64_t cycles = fSim->IOCycles(kSimSpeakersUID);
    ASSERT_TRUE(WaitFor([&] { return fSim->IOCycles(kSimSpeakersUID) > cycles + 60; }, 10s));
    const auto heard = coreaudio_test::ChannelOf(fSim->Recording(kSimSpeakersUID, 12000), 2, 0);
    recorder->StopCapture();
    EXPECT_NEAR(coreaudio_test::Peak(heard), coreaudio_test::DbfsToLevel(-12), 0.003);
    // Its pitch, not a span free of gaps: the simulated devices run on the
    // real clock, and a starved machine (CI, ThreadSanitizer) skips a period.
    EXPECT_NEAR(coreaudio_test::SteadyFrequency(heard, 48000), 440, 1);
}

TEST_F(CaptureRecorder, ARateChangeOfTheRecordedDeviceEndsCaptureAndPutsTheRoutingBack) {
    const AudioObjectID speakers = fSim->DeviceID(kSimSpeakersUID);
    auto recorder = Make();
    ASSERT_EQ(recorder->PrepareToRecord(), 0);
    ASSERT_EQ(Default(kAudioHardwarePropertyDefaultOutputDevice), fSim->DeviceID(kCaptureDriverPlayedIntoUID));
    const AudioObjectPropertyAddress rate{kAudioDevicePropertyNominalSampleRate, kAudioObjectPropertyScopeGlobal,
                                          kAudioObjectPropertyElementMain};
    const Float64 newRate = 44100;
    ASSERT_EQ(AudioObjectSetPropertyData(fSim->DeviceID(kCaptureDriverRecordedFromUID), &rate, 0, nullptr,
                                         sizeof newRate, &newRate),
              0);
    EXPECT_TRUE(WaitFor([&] { return Default(kAudioHardwarePropertyDefaultOutputDevice) == speakers; }, 10s));
    // While the speakers play on, the driver's recording device runs no more.
    const uint64_t recording = fSim->IOCycles(kCaptureDriverRecordedFromUID);
    const uint64_t speaking = fSim->IOCycles(kSimSpeakersUID);
    ASSERT_TRUE(WaitFor([&] { return fSim->IOCycles(kSimSpeakersUID) > speaking + 10; }, 10s));
    EXPECT_LE(fSim->IOCycles(kCaptureDriverRecordedFromUID), recording + 1)
        << "capture ended until the engine starts again";
    recorder->StopCapture();
}

TEST_F(CaptureRecorder, AFailedRoutingIsToldToTheUser) {
    fSim->InjectFault(kAudioObjectSystemObject, kAudioHardwarePropertyDefaultOutputDevice,
                      kAudioHardwareIllegalOperationError, qcp::coreaudio::sim::SimAudioCall::SetData);
    auto recorder = Make();
    EXPECT_EQ(recorder->PrepareToRecord(), 0);
    EXPECT_TRUE(Logged("System Audio Capture: Failed to route system audio to capture driver. System audio will not "
                       "be captured."));
    fSim->ClearFaults();
    recorder->StopCapture();
}

} // namespace
