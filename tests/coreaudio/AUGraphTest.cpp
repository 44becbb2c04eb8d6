// The audio graph: how it is built and what its output unit then plays.
#include <gtest/gtest.h>

#include "AudioUnitTestSupport.h"
#include "SteppedSimAudioTest.h"

namespace {

using namespace coreaudio_test;
using namespace std::chrono_literals;

constexpr AudioComponentDescription kVarispeed{kAudioUnitType_FormatConverter, kAudioUnitSubType_Varispeed,
                                               kAudioUnitManufacturer_Apple, 0, 0};
constexpr AudioComponentDescription kDefaultOutput{kAudioUnitType_Output, kAudioUnitSubType_DefaultOutput,
                                                   kAudioUnitManufacturer_Apple, 0, 0};

AudioUnit UnitOf(AUGraph graph, AUNode node) {
    AudioUnit unit = nullptr;
    EXPECT_EQ(AUGraphNodeInfo(graph, node, nullptr, &unit), 0);
    return unit;
}

TEST(AUGraph, IsBuiltInOrder) {
    AUGraph graph = nullptr;
    ASSERT_EQ(NewAUGraph(&graph), 0);
    AUNode varispeed = 0, output = 0, second = 0;
    const AudioComponentDescription unknown{kAudioUnitType_Output, FourCharCode(1), 0, 0, 0};
    EXPECT_EQ(AUGraphAddNode(graph, &unknown, &second), kAUGraphErr_InvalidAudioUnit);
    ASSERT_EQ(AUGraphAddNode(graph, &kVarispeed, &varispeed), 0);
    EXPECT_EQ(AUGraphStart(graph), kAUGraphErr_OutputNodeErr) << "nothing pulls a graph without an output";
    ASSERT_EQ(AUGraphAddNode(graph, &kDefaultOutput, &output), 0);
    EXPECT_EQ(AUGraphAddNode(graph, &kDefaultOutput, &second), kAUGraphErr_OutputNodeErr);

    AudioComponentDescription description{};
    EXPECT_EQ(AUGraphNodeInfo(graph, output, &description, nullptr), 0);
    EXPECT_EQ(description.componentSubType, kAudioUnitSubType_DefaultOutput);
    EXPECT_EQ(UnitOf(graph, output), nullptr) << "no units until opened";
    EXPECT_EQ(AUGraphNodeInfo(graph, 99, nullptr, nullptr), kAUGraphErr_NodeNotFound);
    EXPECT_EQ(AUGraphInitialize(graph), kAUGraphErr_CannotDoInCurrentContext);
    ASSERT_EQ(AUGraphOpen(graph), 0);
    EXPECT_NE(UnitOf(graph, varispeed), nullptr);

    EXPECT_EQ(AUGraphConnectNodeInput(graph, varispeed, 0, 99, 0), kAUGraphErr_NodeNotFound);
    EXPECT_EQ(AUGraphConnectNodeInput(graph, varispeed, 0, varispeed, 0), kAUGraphErr_InvalidConnection);
    ASSERT_EQ(AUGraphConnectNodeInput(graph, varispeed, 0, output, 0), 0);
    EXPECT_EQ(AUGraphConnectNodeInput(graph, varispeed, 0, output, 0), kAUGraphErr_InvalidConnection)
        << "one source per input";
    EXPECT_EQ(AUGraphStart(graph), kAUGraphErr_CannotDoInCurrentContext) << "not initialised";
    Boolean running = true;
    EXPECT_EQ(AUGraphIsRunning(graph, &running), 0);
    EXPECT_FALSE(running);
    EXPECT_EQ(DisposeAUGraph(graph), 0);
    EXPECT_EQ(NewAUGraph(nullptr), kAudio_ParamError);
}

class AUGraphPlaying : public SteppedSimAudioTest {
protected:
    void TearDown() override {
        if (fGraph) DisposeAUGraph(fGraph);
        SteppedSimAudioTest::TearDown();
    }
    AUGraph fGraph = nullptr;
};

// The graph the play-through uses: a varispeed feeding the default output
// unit set to a device of its own rate.
TEST_F(AUGraphPlaying, AVarispeedFeedingAnOutputPlaysItsInputAtTheDevicesRate) {
    qcp::coreaudio::sim::SimAudioDeviceSetup setup;
    setup.uid = setup.name = "speakers at 44.1 kHz";
    setup.outputStreams = {2};
    setup.nominalRate = 44100;
    setup.bufferFrameSize = 441;
    const AudioObjectID device = fSystem->AddDevice(setup);
    Sine sine{1000, 48000};

    ASSERT_EQ(NewAUGraph(&fGraph), 0);
    AUNode varispeedNode = 0, outputNode = 0;
    ASSERT_EQ(AUGraphAddNode(fGraph, &kVarispeed, &varispeedNode), 0);
    ASSERT_EQ(AUGraphAddNode(fGraph, &kDefaultOutput, &outputNode), 0);
    ASSERT_EQ(AUGraphOpen(fGraph), 0);
    AudioUnit varispeed = UnitOf(fGraph, varispeedNode), output = UnitOf(fGraph, outputNode);
    ASSERT_EQ(SetDevice(output, device), 0);
    const AudioStreamBasicDescription in = FloatFormat(48000, 2, false), out = FloatFormat(44100, 2, false);
    ASSERT_EQ(AudioUnitSetProperty(varispeed, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Input, 0, &in,
                                   sizeof in),
              0);
    ASSERT_EQ(AudioUnitSetProperty(varispeed, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output, 0, &out,
                                   sizeof out),
              0);
    ASSERT_EQ(SetCallback(varispeed, kAudioUnitProperty_SetRenderCallback, &Sine::Render, &sine), 0);
    ASSERT_EQ(AUGraphConnectNodeInput(fGraph, varispeedNode, 0, outputNode, 0), 0);
    ASSERT_EQ(AUGraphInitialize(fGraph), 0);
    EXPECT_EQ(AUGraphConnectNodeInput(fGraph, varispeedNode, 0, outputNode, 1), kAUGraphErr_CannotDoInCurrentContext);
    ASSERT_EQ(AUGraphStart(fGraph), 0);
    Boolean running = false;
    EXPECT_EQ(AUGraphIsRunning(fGraph, &running), 0);
    EXPECT_TRUE(running);

    Play({"speakers at 44.1 kHz"}, 100);
    const auto heard = ChannelOf(fSystem->Recording("speakers at 44.1 kHz", 22050), 2, 0);
    ASSERT_EQ(heard.size(), 22050u);
    EXPECT_NEAR(Frequency(heard, 44100), 1000, 1);
    EXPECT_NEAR(Peak(heard), 0.5, 0.01);
    EXPECT_TRUE(sine.continuous);

    ASSERT_EQ(AudioUnitSetParameter(varispeed, kVarispeedParam_PlaybackRate, kAudioUnitScope_Global, 0, 1.5f, 0), 0);
    Play({"speakers at 44.1 kHz"}, 100);
    EXPECT_NEAR(Frequency(ChannelOf(fSystem->Recording("speakers at 44.1 kHz", 22050), 2, 0), 44100), 1500, 1.5);

    ASSERT_EQ(AUGraphStop(fGraph), 0);
    EXPECT_EQ(AUGraphIsRunning(fGraph, &running), 0);
    EXPECT_FALSE(running);
    const uint64_t pulled = sine.frames;
    fClock.Advance(kSecond);
    EXPECT_EQ(sine.frames, pulled) << "nothing pulls a stopped graph";
}

} // namespace
