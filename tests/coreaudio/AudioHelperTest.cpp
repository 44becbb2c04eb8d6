// The device helpers on the simulated sound system, with faults where the
// system would fail, checking the traces the chain leaves.
#include <gtest/gtest.h>

#include "AudioDevice.h"
#include "AudioDeviceLayer.h"
#include "CaptureDriver.h"
#include "CoreAudioTestSupport.h"
#include "DefaultSimAudioTest.h"
#include "vnAudioHelper.h"
#include "zTraceManager.h"

namespace {

using namespace coreaudio_test;
using namespace qcp::coreaudio::sim;

class AudioHelpers : public DefaultSimAudioTest {
protected:
    void SetUp() override {
        DefaultSimAudioTest::SetUp();
        zTraceManager::Default().ClearHistory();
    }

    static std::vector<std::string> Traces() {
        std::vector<std::string> texts;
        for (const auto& entry : zTraceManager::Default().History()) texts.push_back(entry.text);
        return texts;
    }
    static std::string Description(OSStatus status) { return vnAudioHelper_DescriptionForError(status); }
    AudioObjectID Speakers() const { return fSim->DeviceID(kSimSpeakersUID); }
    AudioObjectID Capture() const { return fSim->DeviceID(kCaptureDriverPlayedIntoUID); }
    AudioObjectID PlugIn() const { return vnAudioHelper_GetCoreAudioPluginID(); }
};

TEST_F(AudioHelpers, DeviceIDByUID) {
    EXPECT_EQ(vnAudioHelper_GetDeviceID(kSimSpeakersUID), Speakers());
    EXPECT_EQ(vnAudioHelper_GetDeviceID("no.such.device"), kAudioObjectUnknown);
    const uint64_t calls = fSim->PropertyCalls();
    EXPECT_EQ(vnAudioHelper_GetDeviceID(nullptr), kAudioObjectUnknown);
    EXPECT_EQ(fSim->PropertyCalls(), calls) << "a null UID is not asked about";
    EXPECT_TRUE(Traces().empty());

    fSim->InjectFault(kAudioObjectSystemObject, kAudioHardwarePropertyDeviceForUID, kAudioHardwareUnspecifiedError);
    EXPECT_EQ(vnAudioHelper_GetDeviceID(kSimSpeakersUID), kAudioObjectUnknown);
    EXPECT_EQ(Traces(), std::vector<std::string>{"System Audio Capture: Failed to get device identifier for UID: . "
                                                 "The function call failed while doing something that doesn't "
                                                 "provide any error messages."});
}

TEST_F(AudioHelpers, VisibilityOfTheCaptureDevice) {
    const uint64_t calls = fSim->PropertyCalls();
    EXPECT_FALSE(vnAudioHelper_SetDeviceVisibility(0, true));
    EXPECT_EQ(fSim->PropertyCalls(), calls);

    ASSERT_TRUE(vnAudioHelper_SetDeviceVisibility(Capture(), true));
    auto devices = ReadDevices();
    EXPECT_NE(std::find(devices.begin(), devices.end(), Capture()), devices.end());
    ASSERT_TRUE(vnAudioHelper_SetDeviceVisibility(Capture(), false));
    devices = ReadDevices();
    EXPECT_EQ(std::find(devices.begin(), devices.end(), Capture()), devices.end());

    fSim->InjectFault(Capture(), kCaptureDriverPropertyVisible, kAudioDevicePermissionsError);
    EXPECT_FALSE(vnAudioHelper_SetDeviceVisibility(Capture(), true));
    EXPECT_FALSE(vnAudioHelper_SetDeviceVisibility(Speakers(), false)) << "not a driver device";
    EXPECT_EQ(Traces(), (std::vector<std::string>{
                            "System Audio Capture: Failed to set device (id: " + std::to_string(Capture()) +
                                ") visibility to true. " + Description(kAudioDevicePermissionsError),
                            "System Audio Capture: Failed to set device (id: " + std::to_string(Speakers()) +
                                ") visibility to false. " + Description(kAudioHardwareUnknownPropertyError)}));
}

TEST_F(AudioHelpers, SystemOutput) {
    EXPECT_EQ(vnAudioHelper_GetSystemOutput(), Speakers());
    fSim->InjectFault(kAudioObjectSystemObject, kAudioHardwarePropertyDefaultOutputDevice, kAudioHardwareNotRunningError);
    EXPECT_EQ(vnAudioHelper_GetSystemOutput(), kAudioObjectUnknown);
    EXPECT_EQ(Traces(), std::vector<std::string>{"System Audio Capture: Failed to get system output device identifier. "
                                                 "The function call requires that the hardware be running but it "
                                                 "isn't."});
}

TEST_F(AudioHelpers, FirstOutputDeviceIsNeverTheCaptureDevice) {
    ASSERT_TRUE(vnAudioHelper_SetDeviceVisibility(Capture(), true));
    ASSERT_EQ(ReadDevices().front(), Capture());
    EXPECT_EQ(vnAudioHelper_GetFirstOutputDevice(), Speakers());

    // Input-only devices are passed over, and so are devices that fail.
    fSim->InjectFault(Speakers(), kAudioDevicePropertyStreams, kAudioHardwareBadDeviceError);
    EXPECT_EQ(vnAudioHelper_GetFirstOutputDevice(), kAudioObjectUnknown);
    SimAudioDeviceSetup headphones;
    headphones.uid = "usb.headphones";
    headphones.outputStreams = {2};
    const AudioObjectID added = fSim->AddDevice(headphones);
    EXPECT_EQ(vnAudioHelper_GetFirstOutputDevice(), added);
    EXPECT_TRUE(Traces().empty());
}

TEST_F(AudioHelpers, FirstOutputDeviceTracesAFailedDeviceList) {
    fSim->InjectFault(kAudioObjectSystemObject, kAudioHardwarePropertyDevices, kAudioHardwareBadPropertySizeError,
                      SimAudioCall::GetSize);
    EXPECT_EQ(vnAudioHelper_GetFirstOutputDevice(), kAudioObjectUnknown);
    fSim->ClearFaults();
    fSim->InjectFault(kAudioObjectSystemObject, kAudioHardwarePropertyDevices, kAudioHardwareIllegalOperationError,
                      SimAudioCall::GetData);
    EXPECT_EQ(vnAudioHelper_GetFirstOutputDevice(), kAudioObjectUnknown);
    EXPECT_EQ(Traces(), (std::vector<std::string>{
                            "System Audio Capture: Failed to get first output device due to an inablity to get "
                            "property size. An improperly sized buffer was provided when accessing the data of a "
                            "property.",
                            "System Audio Capture: Failed to get first output device due to an inablity to get device "
                            "list. The requested operation couldn't be completed."}));
}

TEST_F(AudioHelpers, NameForDevice) {
    EXPECT_EQ(vnAudioHelper_GetNameForDevice(Speakers()), "Simulated Speakers");
    const std::string id = std::to_string(Speakers());
    fSim->InjectFault(Speakers(), kAudioObjectPropertyName, kAudioHardwareBadObjectError, SimAudioCall::GetSize);
    EXPECT_EQ(vnAudioHelper_GetNameForDevice(Speakers()), "");
    fSim->ClearFaults();
    fSim->InjectFault(Speakers(), kAudioObjectPropertyName, kAudioHardwareBadObjectError, SimAudioCall::GetData);
    EXPECT_EQ(vnAudioHelper_GetNameForDevice(Speakers()), "");
    // A name the system cannot give as UTF-8.
    SimAudioDeviceSetup garbled;
    garbled.uid = "garbled";
    garbled.name = "\xff\xfe";
    garbled.outputStreams = {2};
    const AudioObjectID device = fSim->AddDevice(garbled);
    EXPECT_EQ(vnAudioHelper_GetNameForDevice(device), "");
    const std::string objectError = Description(kAudioHardwareBadObjectError);
    EXPECT_EQ(Traces(), (std::vector<std::string>{
                            "System Audio Capture: Failed to get name for device (id: " + id +
                                ") because of an error getting the property data size. " + objectError,
                            "System Audio Capture: Failed to get name for device (id: " + id +
                                ") because of an error getting the property data. " + objectError,
                            "System Audio Capture: Failed to convert name for device (id: " + std::to_string(device) +
                                ") to a std::string as UTF8."}));
}

TEST_F(AudioHelpers, CoreAudioPlugIn) {
    EXPECT_NE(PlugIn(), kAudioObjectUnknown);
    fSim->InjectFault(kAudioObjectSystemObject, kAudioHardwarePropertyPlugInForBundleID, kAudioHardwareUnspecifiedError);
    EXPECT_EQ(PlugIn(), kAudioObjectUnknown);
    EXPECT_EQ(Traces(), std::vector<std::string>{"System Audio Capture: Failed to get CoreAudio plugin identifer. "
                                                 "The function call failed while doing something that doesn't "
                                                 "provide any error messages."});
}

TEST_F(AudioHelpers, AggregateOverTheRecordedFromDevice) {
    const AudioObjectID recordedFrom = fSim->DeviceID(kCaptureDriverRecordedFromUID);
    const size_t devices = ReadDevices().size();
    EXPECT_EQ(vnAudioHelper_CreateAggregateDevice(0, nullptr, nullptr), kAudioObjectUnknown);
    EXPECT_EQ(ReadDevices().size(), devices);

    const AudioObjectID aggregate = vnAudioHelper_CreateAggregateDevice(recordedFrom, nullptr, nullptr);
    ASSERT_NE(aggregate, kAudioObjectUnknown);
    EXPECT_EQ(ReadString(aggregate, Address(kAudioObjectPropertyName)), "Ostrel Audio Capture Aggregate");
    EXPECT_EQ(ReadString(aggregate, Address(kAudioDevicePropertyDeviceUID)), "com.ostrel.audio-capture-aggregate");
    CFArrayRef subDevices = nullptr;
    ASSERT_EQ(Read(aggregate, Address(kAudioAggregateDevicePropertyFullSubDeviceList), subDevices), 0);
    ASSERT_EQ(CFArrayGetCount(subDevices), 1);
    EXPECT_STREQ(CFStringGetCStringPtr(static_cast<CFStringRef>(CFArrayGetValueAtIndex(subDevices, 0)),
                                       kCFStringEncodingUTF8),
                 kCaptureDriverRecordedFromUID);
    CFRelease(subDevices);
    AudioDevice input;
    input.Init(aggregate, true);
    EXPECT_EQ(input.CountChannels(), 2u) << "the aggregate records the driver's stereo stream";

    // The callers destroy it through the plug-in.
    AudioObjectID destroyed = aggregate;
    ASSERT_EQ(Read(PlugIn(), Address(kAudioPlugInDestroyAggregateDevice), destroyed), 0);
    EXPECT_EQ(DeviceForUID(kCaptureAggregateUID), kAudioObjectUnknown);
    EXPECT_TRUE(Traces().empty());
}

TEST_F(AudioHelpers, AggregateFailuresAreTracedInOrder) {
    const AudioObjectID recordedFrom = fSim->DeviceID(kCaptureDriverRecordedFromUID);
    fSim->InjectFault(PlugIn(), kAudioPlugInCreateAggregateDevice, kAudioHardwareIllegalOperationError);
    EXPECT_EQ(vnAudioHelper_CreateAggregateDevice(recordedFrom, nullptr, nullptr), kAudioObjectUnknown);
    fSim->ClearFaults();

    // Without the sub-device's UID the aggregate is still made, empty.
    fSim->InjectFault(recordedFrom, kAudioDevicePropertyDeviceUID, kAudioHardwareBadDeviceError);
    const AudioObjectID empty = vnAudioHelper_CreateAggregateDevice(recordedFrom, nullptr, nullptr);
    ASSERT_NE(empty, kAudioObjectUnknown);
    AudioDevice input;
    input.Init(empty, true);
    EXPECT_EQ(input.CountChannels(), 0u);
    fSim->ClearFaults();
    AudioObjectID destroyed = empty;
    ASSERT_EQ(Read(PlugIn(), Address(kAudioPlugInDestroyAggregateDevice), destroyed), 0);

    fSim->InjectFault(kAudioObjectUnknown, kAudioAggregateDevicePropertyFullSubDeviceList,
                      kAudioHardwareUnsupportedOperationError);
    EXPECT_EQ(vnAudioHelper_CreateAggregateDevice(recordedFrom, nullptr, nullptr), kAudioObjectUnknown);
    EXPECT_NE(DeviceForUID(kCaptureAggregateUID), kAudioObjectUnknown) << "the half-made aggregate is the caller's";
    EXPECT_EQ(Traces(), (std::vector<std::string>{
                            "System Audio Capture: Failed to create aggregate device due to inability to get property "
                            "data. The requested operation couldn't be completed.",
                            "System Audio Capture: Failed to get UID for device (id: " + std::to_string(recordedFrom) +
                                "). The AudioObjectID passed to the function doesn't map to a valid AudioDevice.",
                            "System Audio Capture: Failed to create aggregate device due to inability to set property "
                            "data. The AudioObject doesn't support the requested operation."}));
}

} // namespace
