// The audio engine: when it refuses to start, what a start sets up, and the
// routing it leaves behind.
#include "SystemAudioChainTest.h"
#include "WaitFor.h"

namespace {

class Engine : public SystemAudioChainTest {};

TEST_F(Engine, AMissingOrOutdatedDriverIsRefusedWithoutTouchingTheRouting) {
    const AudioObjectID speakers = fSim->DeviceID(kSimSpeakersUID);
    ASSERT_TRUE(fSim->RemoveDriver());
    {
        CountingEngine engine;
        engine.Start();
        EXPECT_EQ(UserLog(), std::vector<std::string>{"System Audio Capture: Failed to start because the audio driver "
                                                      "is not installed. Install the audio driver and reopen the "
                                                      "document."});
        EXPECT_EQ(engine.RingBytes(), 0u);
        engine.Stop();
        EXPECT_EQ(Default(kAudioHardwarePropertyDefaultOutputDevice), speakers);
    }
    zUserLogHistory::Default()->Clear();
    ASSERT_TRUE(fSim->InstallDriver("1.0.2"));
    CountingEngine engine;
    engine.Start();
    EXPECT_EQ(UserLog(), std::vector<std::string>{"System Audio Capture: Failed to start because the audio driver "
                                                  "needs to be updated. Update the audio driver and reopen the "
                                                  "document."});
    engine.Stop();
    EXPECT_EQ(Default(kAudioHardwarePropertyDefaultOutputDevice), speakers);
}

TEST_F(Engine, StartsNestedRecordsWhatIsPlayedAndPutsTheRoutingBack) {
    const AudioObjectID speakers = fSim->DeviceID(kSimSpeakersUID);
    CountingEngine engine;
    engine.Start();
    engine.Start();
    EXPECT_EQ(engine.RingBytes(), 1u << 20) << "two seconds of stereo at 48 kHz, to a power of two";
    EXPECT_EQ(Default(kAudioHardwarePropertyDefaultOutputDevice), fSim->DeviceID(kCaptureDriverPlayedIntoUID));
    const long before = engine.bytes;
    EXPECT_TRUE(WaitFor([&] { return engine.bytes > before + 48000; }, std::chrono::seconds(10)))
        << "a quarter of a second of audio arrives";

    engine.Stop();
    EXPECT_NE(engine.RingBytes(), 0u) << "one Stop per Start";
    engine.Stop();
    EXPECT_EQ(engine.RingBytes(), 0u);
    EXPECT_EQ(Default(kAudioHardwarePropertyDefaultOutputDevice), speakers);
    EXPECT_EQ(Default(kAudioHardwarePropertyDefaultSystemOutputDevice), speakers);
    EXPECT_EQ(UserLog(), std::vector<std::string>{});
}

} // namespace
