// What the sound server's layer does beyond the device-layer contract: the
// capture driver's devices, monitors, volume and mute through the server,
// and a server that is not there, or goes away and comes back.
#include <gtest/gtest.h>

#include <pulse/volume.h>

#include <atomic>
#include <chrono>

#include "AudioUnitTestSupport.h"
#include "CaptureDriver.h"
#include "PulseHarness.h"
#include "zUserLogHistory.h"

namespace {

using namespace coreaudio_test;
using namespace std::chrono_literals;
using qcp::coreaudio::pulse::PulseAudioSystem;
using qcp::coreaudio::pulse::PulseConnection;

OSStatus Count(AudioObjectID, UInt32, const AudioObjectPropertyAddress*, void* counter) {
    ++*static_cast<std::atomic<int>*>(counter);
    return kAudioHardwareNoError;
}

class PulseAudioSystemTest : public testing::TestWithParam<SoundServerKind> {
protected:
    void SetUp() override {
        if (const std::string why = fHarness.Unavailable(); !why.empty()) GTEST_SKIP() << why;
        qcp::coreaudio::Install(fHarness.Create());
    }
    void TearDown() override { qcp::coreaudio::Install(nullptr); }

    PulseHarness fHarness{GetParam()};
};
INSTANTIATE_TEST_SUITE_P(, PulseAudioSystemTest, EachSoundServer(), SoundServerName);

TEST_P(PulseAudioSystemTest, MonitorsAreNoDevicesAndSourcesAreInputs) {
    const AudioObjectID sink = DeviceForUID(fHarness.PlugOutput("speakers"));
    EXPECT_EQ(ReadDevices(), std::vector<AudioObjectID>{sink}) << "the sink's monitor is part of it";
    AudioObjectID input = 1;
    ASSERT_EQ(Read(kAudioObjectSystemObject, Address(kAudioHardwarePropertyDefaultInputDevice), input), 0);
    EXPECT_EQ(input, kAudioObjectUnknown) << "the server's default source is the monitor";

    const AudioObjectID source = DeviceForUID(fHarness.PlugInput("microphone"));
    EXPECT_TRUE(WaitFor(
        [&] { return Read(kAudioObjectSystemObject, Address(kAudioHardwarePropertyDefaultInputDevice), input) == 0 &&
                     input == source; },
        10s));
    AudioObjectID system = kAudioObjectUnknown;
    ASSERT_EQ(Read(kAudioObjectSystemObject, Address(kAudioHardwarePropertyDefaultSystemOutputDevice), system), 0);
    EXPECT_EQ(system, sink);
    EXPECT_EQ(Write(kAudioObjectSystemObject, Address(kAudioHardwarePropertyDefaultOutputDevice), source),
              kAudioHardwareIllegalOperationError)
        << "an input cannot be the default output";
    EXPECT_EQ(Write(sink, Address(kAudioDevicePropertyNominalSampleRate), PulseHarness::kRate), 0);
    AudioTimeStamp time{};
    EXPECT_EQ(AudioDeviceGetCurrentTime(sink, &time), kAudioHardwareNotRunningError) << "no I/O runs on it";
}

TEST_P(PulseAudioSystemTest, VolumeAndMuteGoThroughTheServerAndComeBackFromOtherClients) {
    const std::string uid = fHarness.PlugOutput("speakers");
    const AudioObjectID sink = DeviceForUID(uid);
    const auto volume = Address(kAudioDevicePropertyVolumeScalar, kAudioObjectPropertyScopeOutput);
    const auto mute = Address(kAudioDevicePropertyMute, kAudioObjectPropertyScopeOutput);
    ASSERT_EQ(Write(sink, volume, Float32{0.25f}), 0);
    Float32 level = 0;
    ASSERT_EQ(Read(sink, volume, level), 0);
    EXPECT_NEAR(level, 0.25f, 0.01f);
    Float32 input = 0;
    EXPECT_EQ(Read(sink, Address(kAudioDevicePropertyVolumeScalar, kAudioObjectPropertyScopeInput), input),
              kAudioHardwareUnknownPropertyError);

    std::atomic<int> heard{0};
    ASSERT_EQ(AudioObjectAddPropertyListener(sink, &mute, &Count, &heard), 0);
    PulseConnection other;
    ASSERT_TRUE(other.Connect(fHarness.Address()));
    int done = 0;
    other.Run([&](pa_context* context) {
        return pa_context_set_sink_mute_by_name(context, uid.c_str(), 1, &PulseConnection::Succeeded, &done);
    });
    ASSERT_TRUE(done);
    ASSERT_TRUE(WaitFor([&] { return heard > 0; }, 10s));
    UInt32 muted = 0;
    ASSERT_EQ(Read(sink, mute, muted), 0);
    EXPECT_EQ(muted, 1u);
    AudioObjectRemovePropertyListener(sink, &mute, &Count, &heard);
}

TEST_P(PulseAudioSystemTest, TheCaptureDriversDevicesStartHiddenAndUnableToBeDefaults) {
    const std::string uid = fHarness.PlugSink(kCaptureDriverPlayedIntoUID, "Capture", "qcp.driver.version=1.0.3");
    const AudioObjectID driver = DeviceForUID(uid);
    ASSERT_NE(driver, kAudioObjectUnknown);
    const AudioObjectID speakers = DeviceForUID(fHarness.PlugOutput("speakers"));
    EXPECT_EQ(ReadString(driver, Address(kCaptureDriverPropertyVersion)), "1.0.3");
    EXPECT_EQ(ReadDevices(), std::vector<AudioObjectID>{speakers});
    const auto defaultOutput = Address(kAudioHardwarePropertyDefaultOutputDevice);
    EXPECT_EQ(Write(kAudioObjectSystemObject, defaultOutput, driver), kAudioHardwareIllegalOperationError);
    EXPECT_EQ(ReadString(speakers, Address(kCaptureDriverPropertyVersion)), "<" +
              std::to_string(kAudioHardwareUnknownPropertyError) + ">") << "only the driver's devices have it";

    std::atomic<int> listChanges{0};
    const auto devices = Address(kAudioHardwarePropertyDevices);
    ASSERT_EQ(AudioObjectAddPropertyListener(kAudioObjectSystemObject, &devices, &Count, &listChanges), 0);
    ASSERT_EQ(Write(driver, Address(kCaptureDriverPropertyVisible), kCFBooleanTrue), 0);
    ASSERT_EQ(Write(driver, Address(kCaptureDriverPropertyCanBeDefault), kCFBooleanTrue), 0);
    EXPECT_TRUE(WaitFor([&] { return listChanges > 0; }, 10s));
    EXPECT_EQ(ReadDevices().size(), 2u);
    // Whether it reads back at once is the device-layer contract's to say.
    ASSERT_EQ(Write(kAudioObjectSystemObject, defaultOutput, driver), 0);
    EXPECT_TRUE(WaitFor(
        [&] {
            AudioObjectID current = kAudioObjectUnknown;
            return Read(kAudioObjectSystemObject, defaultOutput, current) == 0 && current == driver;
        },
        10s));
    AudioObjectRemovePropertyListener(kAudioObjectSystemObject, &devices, &Count, &listChanges);
}

TEST(PulseAudioSystemWithoutServer, EveryCallSaysTheHardwareIsNotRunning) {
    if (kUnderThreadSanitizer) GTEST_SKIP() << "the sound server's client library cannot run under ThreadSanitizer";
    PulseAudioSystem layer("unix:/nonexistent/qcp-no-server");
    const auto devices = Address(kAudioHardwarePropertyDevices);
    UInt32 size = 0;
    bool settable = false;
    AudioTimeStamp time{};
    EXPECT_FALSE(layer.HasProperty(kAudioObjectSystemObject, devices));
    EXPECT_EQ(layer.GetPropertyDataSize(kAudioObjectSystemObject, devices, 0, nullptr, size),
              kAudioHardwareNotRunningError);
    EXPECT_EQ(layer.IsPropertySettable(kAudioObjectSystemObject, devices, settable), kAudioHardwareNotRunningError);
    EXPECT_EQ(layer.SetPropertyData(kAudioObjectSystemObject, devices, 0, nullptr, 0, nullptr),
              kAudioHardwareNotRunningError);
    EXPECT_EQ(layer.AddPropertyListener(kAudioObjectSystemObject, devices, &Count, nullptr),
              kAudioHardwareNotRunningError);
    EXPECT_EQ(layer.StartDeviceIO(32, nullptr, nullptr), kAudioHardwareNotRunningError);
    EXPECT_EQ(layer.GetCurrentTime(32, time), kAudioHardwareNotRunningError);
}

// A server that goes away and comes back: the same system restarted.
class PulseServerRestart : public testing::TestWithParam<SoundServerKind> {
protected:
    void SetUp() override {
        if (!fServer->Unavailable().empty()) GTEST_SKIP() << fServer->Unavailable();
        zUserLogHistory::Default()->Clear();
        qcp::coreaudio::Install(std::make_unique<PulseAudioSystem>(fServer->Address()));
    }
    void TearDown() override { qcp::coreaudio::Install(nullptr); }
    static bool Running() { return static_cast<PulseAudioSystem*>(qcp::coreaudio::Current())->IsRunning(); }
    static bool Logged(const std::string& text) {
        for (const auto& entry : zUserLogHistory::Default()->Entries())
            if (entry.text == text) return true;
        return false;
    }

    // "kept" comes back with every start, after "first", which a server
    // starting afresh makes its default; "microphone" records from nothing.
    std::unique_ptr<PrivateServer> fServer = MakeServer(GetParam(),
                                                        "load-module module-null-sink sink_name=first\n"
                                                        "load-module module-null-sink sink_name=kept\n"
                                                        "load-module module-null-source source_name=microphone "
                                                        "rate=48000\n");
};
INSTANTIATE_TEST_SUITE_P(, PulseServerRestart, EachSoundServer(), SoundServerName);

TEST_P(PulseServerRestart, DevicesThatComeBackKeepTheirIdsAndOthersGo) {
    PulseConnection control;
    ASSERT_TRUE(control.Connect(fServer->Address()));
    uint32_t module = PA_INVALID_INDEX;
    control.Run([&](pa_context* context) {
        return pa_context_load_module(
            context, "module-null-sink", "sink_name=dropped",
            [](pa_context*, uint32_t index, void* result) { *static_cast<uint32_t*>(result) = index; }, &module);
    });
    ASSERT_TRUE(WaitFor([] { return DeviceForUID("dropped") != kAudioObjectUnknown; }, 10s));
    const AudioObjectID kept = DeviceForUID("kept"), dropped = DeviceForUID("dropped");
    std::atomic<int> died{0};
    const auto alive = Address(kAudioDevicePropertyDeviceIsAlive);
    ASSERT_EQ(AudioObjectAddPropertyListener(dropped, &alive, &Count, &died), 0);

    fServer->Stop();
    ASSERT_TRUE(WaitFor([] { return !Running(); }, 10s));
    UInt32 value = 0;
    EXPECT_EQ(Read(kept, alive, value), kAudioHardwareNotRunningError);
    EXPECT_TRUE(Logged("System Audio Capture: lost the connection to the sound server; capture resumes when it is "
                       "back."));

    fServer->Restart();
    ASSERT_TRUE(WaitFor([] { return Running(); }, 10s));
    EXPECT_EQ(DeviceForUID("kept"), kept) << "the same device, restarted";
    EXPECT_TRUE(WaitFor([&] { return died > 0; }, 10s)) << "what did not come back is gone";
    EXPECT_EQ(DeviceForUID("dropped"), kAudioObjectUnknown);
    EXPECT_TRUE(Logged("System Audio Capture: the sound server is back; capture carries on."));
    AudioObjectRemovePropertyListener(dropped, &alive, &Count, &died);
}

TEST_P(PulseServerRestart, RunningIOCarriesOnAndTheChosenDefaultIsSetAgain) {
    ASSERT_EQ(Write(kAudioObjectSystemObject, Address(kAudioHardwarePropertyDefaultOutputDevice), DeviceForUID("kept")),
              0);
    std::vector<AudioUnit> units;
    Heard heard;
    AudioUnit unit = HALUnit(DeviceForUID("microphone"), heard, true, units);
    ASSERT_EQ(AudioOutputUnitStart(unit), 0);
    ASSERT_TRUE(WaitFor([&] { return heard.count >= 3; }, 10s));

    fServer->Stop();
    ASSERT_TRUE(WaitFor([] { return !Running(); }, 10s));
    fServer->Restart();
    const int atReturn = heard.count;
    EXPECT_TRUE(WaitFor([&] { return heard.count >= atReturn + 10; }, 10s)) << "recording again";
    EXPECT_TRUE(WaitFor(
        [] {
            AudioObjectID output = kAudioObjectUnknown;
            return Read(kAudioObjectSystemObject, Address(kAudioHardwarePropertyDefaultOutputDevice), output) == 0 &&
                   output == DeviceForUID("kept");
        },
        10s));
    AudioOutputUnitStop(unit);
    AudioComponentInstanceDispose(unit);
}

} // namespace
