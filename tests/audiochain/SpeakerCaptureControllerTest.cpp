// The speaker controller: nested captures, the output it picks, and how it
// follows devices going away and the default output changing.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "CaptureDriver.h"
#include "CoreAudioTestSupport.h"
#include "DefaultSimAudioTest.h"
#include "WaitFor.h"
#include "vnAudioHelper.h"
#include "vnAudioPlayThrough.h"
#include "vnSpeakerCaptureController.h"
#include "zUserLogHistory.h"

namespace {

using namespace qcp::coreaudio::sim;
using namespace std::chrono_literals;

class SpeakerCaptureController : public DefaultSimAudioTest {
protected:
    void SetUp() override {
        DefaultSimAudioTest::SetUp();
        zUserLogHistory::Default()->Clear();
        fController = vnSpeakerCaptureController::SharedController();
        fSpeakers = fSim->DeviceID(kSimSpeakersUID);
        fCapture = fSim->DeviceID(kCaptureDriverPlayedIntoUID);
    }
    void TearDown() override {
        // The controller outlives every test: leave it idle.
        while (fController->StartCount() > 0) fController->Stop();
        DefaultSimAudioTest::TearDown();
    }
    AudioObjectID PlugOutput(const std::string& name) {
        SimAudioDeviceSetup setup;
        setup.uid = name;
        setup.name = name;
        setup.outputStreams = {2};
        return fSim->AddDevice(setup);
    }
    static std::vector<std::string> UserLog() {
        std::vector<std::string> lines;
        for (const zUserLogHistory::Entry& entry : zUserLogHistory::Default()->Entries()) lines.push_back(entry.text);
        return lines;
    }
    static size_t Count(const std::string& line) {
        const auto lines = UserLog();
        return static_cast<size_t>(std::count(lines.begin(), lines.end(), line));
    }
    std::shared_ptr<CAPlayThroughHost> Host() const { return fController->PlayThroughHost(); }

    vnSpeakerCaptureController* fController = nullptr;
    AudioObjectID fSpeakers = 0;
    AudioObjectID fCapture = 0;
};

TEST_F(SpeakerCaptureController, NestedCapturesOnlyCountUntilTheLastStops) {
    fController->SetSystemOutputDeviceID(fSpeakers);
    fController->Start();
    fController->Start();
    EXPECT_EQ(fController->StartCount(), 2);
    EXPECT_EQ(fController->PlayThroughOutputDeviceID(), fSpeakers);
    EXPECT_EQ(fController->PlayThroughDeviceName(), "Simulated Speakers");
    const auto playThrough = fController->PlayThrough();
    ASSERT_NE(playThrough, nullptr);
    EXPECT_EQ(playThrough->OutputDeviceID(), fSpeakers);
    EXPECT_EQ(playThrough->InputDeviceID(), fSim->DeviceID(kCaptureDriverRecordedFromUID));

    fController->Stop();
    EXPECT_EQ(fController->StartCount(), 1);
    EXPECT_EQ(fController->PlayThrough(), playThrough) << "the first Stop keeps forwarding";
    fController->Stop();
    EXPECT_EQ(fController->StartCount(), 0);
    EXPECT_EQ(fController->PlayThrough(), nullptr);
    EXPECT_EQ(fController->PlayThroughOutputDeviceID(), 0u);
    EXPECT_EQ(fController->PlayThroughDeviceName(), "");

    fController->Stop();
    EXPECT_EQ(fController->StartCount(), 0) << "an unmatched Stop leaves no debt";
    fController->Start();
    EXPECT_EQ(fController->StartCount(), 1);
}

TEST_F(SpeakerCaptureController, WithoutAUsableSystemOutputItPlaysToTheFirstOutputDevice) {
    for (const AudioObjectID given : {fCapture, AudioObjectID{0}}) {
        fController->SetSystemOutputDeviceID(given);
        fController->Start();
        EXPECT_EQ(fController->PlayThroughOutputDeviceID(), fSpeakers) << given;
        EXPECT_EQ(fController->PlayThroughOutputDeviceID(), vnAudioHelper_GetFirstOutputDevice());
        fController->Stop();
    }
}

TEST_F(SpeakerCaptureController, AFailedFirstStartIsTriedAgainFromTheBeginning) {
    ASSERT_TRUE(fSim->RemoveDriver());
    fController->SetSystemOutputDeviceID(fSpeakers);
    fController->Start();
    EXPECT_EQ(Count("System Audio Capture: Failed to enable Core Audio capture driver."), 1u);
    EXPECT_EQ(fController->StartCount(), 0);
    EXPECT_EQ(fController->PlayThrough(), nullptr);

    ASSERT_TRUE(fSim->InstallDriver());
    const AudioObjectID headphones = PlugOutput("Headphones");
    // The default too: the driver's comings and goings are still being told
    // to listeners, which follow the default output.
    ASSERT_TRUE(fSim->SetDefault(kAudioHardwarePropertyDefaultOutputDevice, "Headphones"));
    fController->SetSystemOutputDeviceID(headphones);
    fController->Start();
    EXPECT_EQ(fController->StartCount(), 1);
    EXPECT_EQ(fController->PlayThroughOutputDeviceID(), headphones);
}

TEST_F(SpeakerCaptureController, LosingThePlayThroughOutputMovesToTheFirstOutputDevice) {
    const AudioObjectID other = PlugOutput("Other Output");
    const AudioObjectID chosen = PlugOutput("Chosen Output");
    ASSERT_NE(other, 0u);
    fController->SetSystemOutputDeviceID(chosen);
    fController->Start();
    ASSERT_EQ(fController->PlayThroughOutputDeviceID(), chosen);

    // The listener reacts to the two removals in order: the first leaves
    // forwarding alone, so only the second is logged.
    ASSERT_TRUE(fSim->RemoveDevice("Other Output"));
    ASSERT_TRUE(fSim->RemoveDevice("Chosen Output"));
    ASSERT_TRUE(WaitFor([&] { return fController->PlayThroughOutputDeviceID() == fSpeakers; }, 10s));
    EXPECT_EQ(fController->PlayThroughDeviceName(), "Simulated Speakers");
    const std::string moved =
        "System Audio Capture: The device 'Chosen Output' was disconnected. Will send audio to 'Simulated Speakers' "
        "instead.";
    ASSERT_TRUE(WaitFor([&] { return Count(moved) == 1; }, 10s));
    for (const std::string& line : UserLog()) EXPECT_EQ(line.find("'Other Output'"), std::string::npos) << line;
    EXPECT_EQ(fController->ForwardedToDeviceID(), fSpeakers);
}

TEST_F(SpeakerCaptureController, FollowsTheDefaultOutputButNotOntoTheCaptureDevice) {
    using coreaudio_test::Address;
    const AudioObjectID headphones = PlugOutput("Headphones");
    fController->SetSystemOutputDeviceID(fSpeakers);
    fController->Start();
    const auto first = Host();

    // Capture re-routing the default output to its own device restarts
    // forwarding to the output already chosen.
    ASSERT_EQ(coreaudio_test::Write(fCapture, Address(kCaptureDriverPropertyCanBeDefault), kCFBooleanTrue), 0);
    ASSERT_TRUE(fSim->SetDefault(kAudioHardwarePropertyDefaultOutputDevice, kCaptureDriverPlayedIntoUID));
    ASSERT_TRUE(WaitFor([&] { return Host() != first; }, 10s));
    EXPECT_EQ(fController->PlayThroughOutputDeviceID(), fSpeakers);
    EXPECT_EQ(fController->ForwardedToDeviceID(), fSpeakers);

    ASSERT_TRUE(fSim->SetDefault(kAudioHardwarePropertyDefaultOutputDevice, "Headphones"));
    ASSERT_TRUE(WaitFor([&] { return fController->PlayThroughOutputDeviceID() == headphones; }, 10s));
    EXPECT_EQ(fController->PlayThroughDeviceName(), "Headphones");
    ASSERT_TRUE(WaitFor([&] { return fController->ForwardedToDeviceID() == headphones; }, 10s));
}

TEST_F(SpeakerCaptureController, ListenersWithoutAControllerRefuse) {
    EXPECT_EQ(vnSpeakerCaptureController::OnAudioOutputDeviceChanged(kAudioObjectSystemObject, 0, nullptr, nullptr),
              kAudio_ParamError);
    EXPECT_EQ(vnSpeakerCaptureController::OnDeviceListChanged(kAudioObjectSystemObject, 0, nullptr, nullptr),
              kAudio_ParamError);
    // Idle, a default-output change has nothing to restart.
    fController->DefaultAudioOutputChanged();
    EXPECT_EQ(Count("System Audio Capture: Unable to send audio to newly selected output device due to a bad state. "
                    "Try recreating the shot."),
              1u);
}

} // namespace
