// The system-audio driver: packets cut from the engine's ring, receivers,
// and the routing it repairs at start-up.
#include "MacSystemAudio/SystemAudioDriver.h"

#include "SystemAudioChainTest.h"

namespace {

using MC::SystemAudioDriver;

struct Packets : MC::SystemAudioReceiver {
    std::vector<int> sizes;
    std::vector<uint8_t> first;
    void ProcessAudioData(void* data, int size) override {
        sizes.push_back(size);
        if (first.empty()) first.assign(static_cast<uint8_t*>(data), static_cast<uint8_t*>(data) + size);
    }
};

class SystemAudioDriverTest : public SystemAudioChainTest {
protected:
    void TearDown() override {
        SystemAudioDriver::Shutdown();
        SystemAudioChainTest::TearDown();
    }
    // A driver whose engine runs but whose recorder delivers nothing, so
    // that the test alone feeds it.
    SystemAudioDriver* QuietDriver() {
        fSim->InjectFault(fSim->DeviceID(kCaptureDriverRecordedFromUID), kAudioObjectPropertySelectorWildcard,
                          kAudioHardwareIllegalOperationError, qcp::coreaudio::sim::SimAudioCall::StartIO);
        return SystemAudioDriver::Default();
    }
};

TEST_F(SystemAudioDriverTest, CutsOnePacketOf7200BytesPerDelivery) {
    SystemAudioDriver* driver = QuietDriver();
    Packets first, second;
    driver->registerAudioReceiver(&first);
    driver->registerAudioReceiver(&second);
    ASSERT_TRUE(driver->isRunning());

    std::vector<uint8_t> block(7000);
    for (size_t i = 0; i < block.size(); ++i) block[i] = uint8_t(i);
    driver->ProcessAudioData(0, 0, block.data(), int(block.size()));
    EXPECT_TRUE(first.sizes.empty()) << "less than a packet waits";
    driver->ProcessAudioData(0, 0, block.data(), int(block.size()));
    EXPECT_EQ(first.sizes, std::vector<int>{7200});
    EXPECT_EQ(second.sizes, std::vector<int>{7200}) << "every receiver gets the packet";
    ASSERT_EQ(first.first.size(), 7200u);
    EXPECT_TRUE(std::equal(block.begin(), block.end(), first.first.begin())) << "in order";
    EXPECT_EQ(first.first[7000], 0) << "then the second block";

    std::vector<uint8_t> large(20000);
    driver->ProcessAudioData(0, 0, large.data(), int(large.size()));
    EXPECT_EQ(first.sizes.size(), 2u) << "at most one packet per delivery";
    driver->ProcessAudioData(0, 0, nullptr, 0);
    driver->ProcessAudioData(0, 0, nullptr, 0);
    EXPECT_EQ(first.sizes.size(), 4u) << "the rest follows with later deliveries: 6,800 + 20,000 bytes";
    driver->ProcessAudioData(0, 0, nullptr, 0);
    EXPECT_EQ(first.sizes.size(), 4u);
    driver->unregisterAudioReceiver(&first);
    driver->unregisterAudioReceiver(&second);
}

TEST_F(SystemAudioDriverTest, RunsWhileAnyReceiverIsRegistered) {
    SystemAudioDriver* driver = QuietDriver();
    Packets a, b, stranger;
    driver->registerAudioReceiver(&a);
    driver->registerAudioReceiver(&b);
    driver->registerAudioReceiver(&a);
    std::vector<uint8_t> packet(7200, 1);
    driver->ProcessAudioData(0, 0, packet.data(), int(packet.size()));
    EXPECT_EQ(a.sizes.size(), 1u) << "a receiver registered twice is listed once";

    driver->unregisterAudioReceiver(&stranger);
    EXPECT_TRUE(driver->isRunning());
    driver->unregisterAudioReceiver(&a);
    EXPECT_TRUE(driver->isRunning());
    driver->unregisterAudioReceiver(&b);
    EXPECT_FALSE(driver->isRunning());
    driver->ProcessAudioData(0, 0, packet.data(), int(packet.size()));
    EXPECT_EQ(b.sizes.size(), 1u) << "nothing after unregistering";
    driver->unregisterAudioReceiver(&b);
    EXPECT_FALSE(driver->isRunning());
}

TEST_F(SystemAudioDriverTest, StartupRepairsRoutingLeftOnTheDriverAndLeavesNoAggregate) {
    LeaveRoutingOnTheDriver();
    const AudioObjectID speakers = fSim->DeviceID(kSimSpeakersUID);
    SystemAudioDriver::Startup();
    EXPECT_EQ(Default(kAudioHardwarePropertyDefaultOutputDevice), speakers);
    EXPECT_EQ(Default(kAudioHardwarePropertyDefaultSystemOutputDevice), speakers);
    EXPECT_EQ(vnAudioHelper_GetDeviceID(kCaptureAggregateUID), kAudioObjectUnknown);
    EXPECT_FALSE(fSim->SetDefault(kAudioHardwarePropertyDefaultOutputDevice, kCaptureDriverPlayedIntoUID))
        << "the driver's device may not become a default";
}

} // namespace
