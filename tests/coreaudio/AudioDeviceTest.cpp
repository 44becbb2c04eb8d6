// The play-through engine's device record on the simulated sound system.
#include <gtest/gtest.h>

#include <cstring>

#include "AudioDevice.h"
#include "DefaultSimAudioTest.h"

namespace {

using namespace qcp::coreaudio::sim;

class AudioDeviceRecord : public DefaultSimAudioTest {
protected:
    AudioObjectID Plug(SimAudioDeviceSetup setup) { return fSim->AddDevice(std::move(setup)); }
};

TEST_F(AudioDeviceRecord, InitReadsTheDirectionsProperties) {
    AudioDevice output;
    output.Init(fSim->DeviceID(kSimSpeakersUID), false);
    EXPECT_EQ(output.mSafetyOffset, 32u);
    EXPECT_EQ(output.mBufferSizeFrames, 512u);
    EXPECT_EQ(output.mFormat.mSampleRate, 48000);
    EXPECT_EQ(output.mFormat.mChannelsPerFrame, 2u);
    EXPECT_EQ(output.CountChannels(), 2u);

    AudioDevice input;
    input.Init(fSim->DeviceID(kSimMicrophoneUID), true);
    EXPECT_TRUE(input.mIsInput);
    EXPECT_EQ(input.mSafetyOffset, 16u);
    EXPECT_EQ(input.mFormat.mChannelsPerFrame, 1u);
    EXPECT_EQ(input.CountChannels(), 1u);
}

TEST_F(AudioDeviceRecord, FailedOrSkippedReadsKeepWhatTheFieldsHeld) {
    AudioDevice none;
    none.mSafetyOffset = 7;
    none.mBufferSizeFrames = 9;
    none.mFormat.mSampleRate = 11;
    none.Init(kAudioObjectUnknown, true);
    EXPECT_EQ(none.mID, kAudioObjectUnknown);
    EXPECT_TRUE(none.mIsInput);
    EXPECT_EQ(none.mSafetyOffset, 7u);
    EXPECT_EQ(none.mBufferSizeFrames, 9u);
    EXPECT_EQ(none.mFormat.mSampleRate, 11);

    const AudioObjectID speakers = fSim->DeviceID(kSimSpeakersUID);
    fSim->InjectFault(speakers, kAudioDevicePropertySafetyOffset, kAudioHardwareUnspecifiedError);
    AudioDevice device;
    device.mSafetyOffset = 7;
    device.Init(speakers, false);
    EXPECT_EQ(device.mSafetyOffset, 7u);
    EXPECT_EQ(device.mBufferSizeFrames, 512u) << "the reads after a failed one still happen";
    EXPECT_EQ(device.mFormat.mSampleRate, 48000);
}

TEST_F(AudioDeviceRecord, ChannelsOfEveryStreamOfTheDirection) {
    SimAudioDeviceSetup interface;
    interface.uid = "usb.interface";
    interface.outputStreams = {2, 6};
    interface.inputStreams = {4};
    const AudioObjectID device = Plug(interface);
    AudioDevice output;
    output.Init(device, false);
    EXPECT_EQ(output.CountChannels(), 8u);
    AudioDevice input;
    input.Init(device, true);
    EXPECT_EQ(input.CountChannels(), 4u);

    AudioDevice wrongWay;
    wrongWay.Init(fSim->DeviceID(kSimMicrophoneUID), false);
    EXPECT_EQ(wrongWay.CountChannels(), 0u) << "a microphone has no output streams";
    fSim->InjectFault(device, kAudioDevicePropertyStreamConfiguration, kAudioHardwareBadDeviceError,
                      SimAudioCall::GetData);
    EXPECT_EQ(output.CountChannels(), 0u);
}

TEST_F(AudioDeviceRecord, SetBufferSizeCachesWhatTheDeviceAccepted) {
    SimAudioDeviceSetup blocks;
    blocks.uid = "usb.blocks";
    blocks.outputStreams = {2};
    blocks.bufferFrameGranularity = 64;
    blocks.maxBufferFrameSize = 1024;
    const AudioObjectID device = Plug(blocks);
    AudioDevice output;
    output.Init(device, false);

    EXPECT_EQ(output.SetBufferSize(500), kAudioHardwareNoError);
    EXPECT_EQ(output.mBufferSizeFrames, 448u);
    EXPECT_EQ(output.SetBufferSize(5000), kAudioHardwareNoError);
    EXPECT_EQ(output.mBufferSizeFrames, 1024u);

    fSim->InjectFault(device, kAudioDevicePropertyBufferFrameSize, kAudioHardwareNotRunningError,
                      SimAudioCall::GetData);
    EXPECT_EQ(output.SetBufferSize(256), kAudioHardwareNotRunningError);
    EXPECT_EQ(output.mBufferSizeFrames, 1024u);
}

TEST_F(AudioDeviceRecord, NameFitsTheCallersBuffer) {
    AudioDevice output;
    output.Init(fSim->DeviceID(kSimSpeakersUID), false);
    char name[64];
    EXPECT_EQ(output.GetName(name, sizeof name), name);
    EXPECT_STREQ(name, "Simulated Speakers");
    char shortName[5];
    std::memset(shortName, 'x', sizeof shortName);
    output.GetName(shortName, sizeof shortName);
    EXPECT_STREQ(shortName, "Simu");
}

} // namespace
