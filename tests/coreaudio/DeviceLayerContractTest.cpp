// What every device layer owes the capture chain, run over each layer through
// the CoreAudio C interface alone. A layer joins by adding a harness that
// makes it and plugs devices in and out of it.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>

#include "AudioDeviceLayer.h"
#include "CoreAudioTestSupport.h"
#include "DeviceLayerHarness.h"
#ifdef QCP_HAVE_PULSE
#include "PulseHarness.h"
#endif
#include "WaitFor.h"

namespace {

using namespace coreaudio_test;
using qcp::coreaudio::AudioDeviceLayer;
using namespace std::chrono_literals;

// Every listener call, with the thread it came on.
struct Calls {
    std::mutex mutex;
    std::vector<std::thread::id> threads;
    std::vector<AudioObjectID> objects;
    std::vector<AudioObjectPropertySelector> selectors;
    std::atomic<int> count{0};
    // What the listener read back from inside the call: the device list's length.
    std::atomic<size_t> devicesSeen{0};

    static OSStatus Listener(AudioObjectID object, UInt32 addressCount, const AudioObjectPropertyAddress* addresses,
                             void* clientData) {
        auto* calls = static_cast<Calls*>(clientData);
        calls->devicesSeen = ReadDevices().size();
        {
            std::lock_guard lock(calls->mutex);
            calls->threads.push_back(std::this_thread::get_id());
            calls->objects.push_back(object);
            for (UInt32 i = 0; i < addressCount; ++i) calls->selectors.push_back(addresses[i].mSelector);
        }
        ++calls->count;
        return kAudioHardwareNoError;
    }
    bool WaitForCount(int wanted) {
        return WaitFor([&] { return count >= wanted; }, 10s);
    }
};

AudioObjectID DefaultOutput() {
    AudioObjectID device = kAudioObjectUnknown;
    return Read(kAudioObjectSystemObject, Address(kAudioHardwarePropertyDefaultOutputDevice), device) == 0
               ? device
               : kAudioObjectUnknown;
}

template <class Harness>
class DeviceLayerContract : public testing::Test {
protected:
    void SetUp() override {
        if (const std::string why = fHarness.Unavailable(); !why.empty()) GTEST_SKIP() << why;
        qcp::coreaudio::Install(fHarness.Create());
    }
    void TearDown() override { qcp::coreaudio::Install(nullptr); }

    Harness fHarness;
};

#ifdef QCP_HAVE_PULSE
using Harnesses = testing::Types<SimHarness, PulseHarness, PipeWireHarness>;
#else
using Harnesses = testing::Types<SimHarness>;
#endif
TYPED_TEST_SUITE(DeviceLayerContract, Harnesses);

TYPED_TEST(DeviceLayerContract, ListenersAreCalledOnOneNotificationThreadThatMayCallBackIn) {
    Calls calls;
    const auto devices = Address(kAudioHardwarePropertyDevices);
    ASSERT_EQ(AudioObjectAddPropertyListener(kAudioObjectSystemObject, &devices, &Calls::Listener, &calls), 0);
    const size_t before = ReadDevices().size();

    ASSERT_FALSE(this->fHarness.PlugOutput("first").empty());
    ASSERT_FALSE(this->fHarness.PlugOutput("second").empty());
    ASSERT_TRUE(calls.WaitForCount(2));

    std::lock_guard lock(calls.mutex);
    EXPECT_NE(calls.threads[0], std::this_thread::get_id());
    EXPECT_EQ(calls.threads[0], calls.threads[1]);
    EXPECT_EQ(calls.objects[0], kAudioObjectSystemObject);
    EXPECT_EQ(calls.selectors[0], kAudioHardwarePropertyDevices);
    EXPECT_EQ(calls.devicesSeen, before + 2);
    EXPECT_EQ(AudioObjectRemovePropertyListener(kAudioObjectSystemObject, &devices, &Calls::Listener, &calls), 0);
}

TYPED_TEST(DeviceLayerContract, AListenerRemovedIsNotCalledAgain) {
    Calls removed, sentinel;
    const auto devices = Address(kAudioHardwarePropertyDevices);
    AudioObjectAddPropertyListener(kAudioObjectSystemObject, &devices, &Calls::Listener, &removed);
    AudioObjectAddPropertyListener(kAudioObjectSystemObject, &devices, &Calls::Listener, &sentinel);
    this->fHarness.PlugOutput("one");
    ASSERT_TRUE(removed.WaitForCount(1));
    ASSERT_TRUE(sentinel.WaitForCount(1));

    ASSERT_EQ(AudioObjectRemovePropertyListener(kAudioObjectSystemObject, &devices, &Calls::Listener, &removed), 0);
    this->fHarness.PlugOutput("two");
    // Calls come in order: once the sentinel heard the change, the removed
    // listener would have been called already.
    ASSERT_TRUE(sentinel.WaitForCount(2));
    EXPECT_EQ(removed.count, 1);
    AudioObjectRemovePropertyListener(kAudioObjectSystemObject, &devices, &Calls::Listener, &sentinel);
}

TYPED_TEST(DeviceLayerContract, ARepluggedDeviceHasANewIDAndTheSameUID) {
    const std::string uid = this->fHarness.PlugOutput("replugged");
    const AudioObjectID first = DeviceForUID(uid);
    ASSERT_NE(first, kAudioObjectUnknown);
    Calls death;
    const auto alive = Address(kAudioDevicePropertyDeviceIsAlive);
    ASSERT_EQ(AudioObjectAddPropertyListener(first, &alive, &Calls::Listener, &death), 0);

    ASSERT_TRUE(this->fHarness.Unplug(uid));
    ASSERT_TRUE(death.WaitForCount(1));
    UInt32 isAlive = 1;
    EXPECT_EQ(Read(first, alive, isAlive), kAudioHardwareBadObjectError);
    EXPECT_EQ(DeviceForUID(uid), kAudioObjectUnknown);

    this->fHarness.PlugOutput("replugged");
    const AudioObjectID second = DeviceForUID(uid);
    EXPECT_NE(second, kAudioObjectUnknown);
    EXPECT_NE(second, first);
    EXPECT_EQ(ReadString(second, Address(kAudioDevicePropertyDeviceUID)), uid);
    EXPECT_EQ(ReadString(second, Address(kAudioObjectPropertyName)), "replugged");
    AudioObjectRemovePropertyListener(first, &alive, &Calls::Listener, &death);
}

TYPED_TEST(DeviceLayerContract, PropertySizesAndBadSizes) {
    const AudioObjectID device = DeviceForUID(this->fHarness.PlugOutput("sized"));
    const auto sizeOf = [device](const AudioObjectPropertyAddress& address) {
        UInt32 size = 0;
        return AudioObjectGetPropertyDataSize(device, &address, 0, nullptr, &size) ? 0u : size;
    };
    const auto output = kAudioObjectPropertyScopeOutput;
    EXPECT_EQ(sizeOf(Address(kAudioDevicePropertyDeviceUID)), sizeof(CFStringRef));
    EXPECT_EQ(sizeOf(Address(kAudioDevicePropertyNominalSampleRate)), sizeof(Float64));
    EXPECT_EQ(sizeOf(Address(kAudioDevicePropertyBufferFrameSize, output)), sizeof(UInt32));
    EXPECT_EQ(sizeOf(Address(kAudioDevicePropertySafetyOffset, output)), sizeof(UInt32));
    EXPECT_EQ(sizeOf(Address(kAudioDevicePropertyStreamFormat, output)), 40u);
    EXPECT_EQ(sizeOf(Address(kAudioDevicePropertyStreams, output)), sizeof(AudioStreamID));
    EXPECT_EQ(sizeOf(Address(kAudioDevicePropertyStreamConfiguration, output)),
              offsetof(AudioBufferList, mBuffers) + sizeof(AudioBuffer));

    UInt16 tooSmall = 0;
    EXPECT_EQ(Read(device, Address(kAudioDevicePropertyBufferFrameSize, output), tooSmall),
              kAudioHardwareBadPropertySizeError);
    const Float32 wrongType = 48000;
    EXPECT_EQ(Write(device, Address(kAudioDevicePropertyNominalSampleRate), wrongType),
              kAudioHardwareBadPropertySizeError);
    // A list read into a buffer that is not a whole number of items gets the
    // items that fit.
    const auto devices = Address(kAudioHardwarePropertyDevices);
    AudioObjectID first[2] = {};
    UInt32 size = sizeof(AudioObjectID) + 2;
    ASSERT_EQ(AudioObjectGetPropertyData(kAudioObjectSystemObject, &devices, 0, nullptr, &size, first), 0);
    EXPECT_EQ(size, sizeof(AudioObjectID));
}

TYPED_TEST(DeviceLayerContract, UnknownObjectsSelectorsAndElementsAndReadOnlyProperties) {
    const AudioObjectID device = DeviceForUID(this->fHarness.PlugOutput("known"));
    constexpr AudioObjectID kNoSuchObject = 0x7FFF0000;
    const auto uid = Address(kAudioDevicePropertyDeviceUID);
    UInt32 size = 0;
    Boolean settable = false;
    EXPECT_EQ(AudioObjectGetPropertyDataSize(kNoSuchObject, &uid, 0, nullptr, &size), kAudioHardwareBadObjectError);
    EXPECT_EQ(AudioObjectIsPropertySettable(kNoSuchObject, &uid, &settable), kAudioHardwareBadObjectError);
    EXPECT_FALSE(AudioObjectHasProperty(kNoSuchObject, &uid));
    Float64 rate = 0;
    EXPECT_EQ(Write(kNoSuchObject, Address(kAudioDevicePropertyNominalSampleRate), rate), kAudioHardwareBadObjectError);

    UInt32 value = 0;
    EXPECT_EQ(Read(device, Address(qcp::coreaudio::FourCC("zzzz")), value), kAudioHardwareUnknownPropertyError);
    EXPECT_EQ(Read(device, Address(kAudioDevicePropertyBufferFrameSize, kAudioObjectPropertyScopeOutput, 7), value),
              kAudioHardwareUnknownPropertyError);
    EXPECT_EQ(Read(device, Address(kAudioDevicePropertyStreamFormat, kAudioObjectPropertyScopeInput), value),
              kAudioHardwareUnknownPropertyError)
        << "an output-only device has no input format";
    EXPECT_TRUE(AudioObjectHasProperty(device, &uid));

    ASSERT_EQ(AudioObjectIsPropertySettable(device, &uid, &settable), 0);
    EXPECT_FALSE(settable);
    const auto rateAddress = Address(kAudioDevicePropertyNominalSampleRate);
    ASSERT_EQ(AudioObjectIsPropertySettable(device, &rateAddress, &settable), 0);
    EXPECT_TRUE(settable);
    CFStringRef newUID = CFStringCreateWithCString(kCFAllocatorDefault, "other", kCFStringEncodingUTF8);
    EXPECT_EQ(Write(device, uid, newUID), kAudioHardwareIllegalOperationError);
    CFRelease(newUID);
}

TYPED_TEST(DeviceLayerContract, DefaultOutputChangesAreHeard) {
    // A sound server may choose its default a moment after the device came
    // (PipeWire's session manager does).
    const AudioObjectID first = DeviceForUID(this->fHarness.PlugOutput("speakers"));
    ASSERT_TRUE(WaitFor([&] { return DefaultOutput() == first; }, 10s));
    const AudioObjectID second = DeviceForUID(this->fHarness.PlugOutput("headphones"));
    ASSERT_EQ(DefaultOutput(), first);
    const auto defaultOutput = Address(kAudioHardwarePropertyDefaultOutputDevice);
    Calls calls;
    AudioObjectAddPropertyListener(kAudioObjectSystemObject, &defaultOutput, &Calls::Listener, &calls);

    ASSERT_EQ(Write(kAudioObjectSystemObject, defaultOutput, second), 0);
    ASSERT_TRUE(calls.WaitForCount(1));
    EXPECT_EQ(DefaultOutput(), second);
    EXPECT_EQ(Write(kAudioObjectSystemObject, defaultOutput, AudioObjectID{0x7FFF0000}), kAudioHardwareBadDeviceError);
    AudioObjectRemovePropertyListener(kAudioObjectSystemObject, &defaultOutput, &Calls::Listener, &calls);
}

// The capture chain reads the default back as soon as it has routed the
// system's sound, to tell the user when routing failed.
TYPED_TEST(DeviceLayerContract, ADefaultOutputWrittenReadsBackAtOnce) {
    const AudioObjectID devices[] = {DeviceForUID(this->fHarness.PlugOutput("speakers")),
                                     DeviceForUID(this->fHarness.PlugOutput("headphones"))};
    for (int i = 0; i < 10; ++i) {
        const AudioObjectID chosen = devices[i % 2];
        ASSERT_EQ(Write(kAudioObjectSystemObject, Address(kAudioHardwarePropertyDefaultOutputDevice), chosen), 0);
        ASSERT_EQ(DefaultOutput(), chosen) << "write " << i;
    }
}

TYPED_TEST(DeviceLayerContract, StreamsTellTheirDirectionAndFollowTheDevicesRate) {
    const AudioObjectID device = DeviceForUID(this->fHarness.PlugInput("line in"));
    AudioStreamID stream = kAudioObjectUnknown;
    ASSERT_EQ(Read(device, Address(kAudioDevicePropertyStreams, kAudioObjectPropertyScopeInput), stream), 0);
    UInt32 direction = 0;
    ASSERT_EQ(Read(stream, Address(kAudioStreamPropertyDirection), direction), 0);
    EXPECT_EQ(direction, 1u) << "an input stream";
    const auto physical = Address(kAudioStreamPropertyPhysicalFormat);
    Calls calls;
    ASSERT_EQ(AudioObjectAddPropertyListener(stream, &physical, &Calls::Listener, &calls), 0);

    // From the higher rate to the lower and back, where the device can change
    // rate; a device the server holds at one rate only takes that one.
    const std::vector<Float64> rates = this->fHarness.Rates(device);
    ASSERT_FALSE(rates.empty());
    const Float64 low = rates.front(), high = rates.back();
    const auto rateAddress = Address(kAudioDevicePropertyNominalSampleRate);
    EXPECT_EQ(Write(device, rateAddress, Float64{12345}), kAudioHardwareIllegalOperationError)
        << "a rate the device does not offer";
    ASSERT_EQ(Write(device, rateAddress, high), 0);
    ASSERT_EQ(Write(device, rateAddress, low), 0);
    if (low != high) {
        ASSERT_TRUE(calls.WaitForCount(1)) << "the stream's format changed with the device's rate";
    }
    AudioStreamBasicDescription format{};
    ASSERT_EQ(Read(stream, physical, format), 0);
    EXPECT_EQ(format.mSampleRate, low);
    format.mSampleRate = high;
    ASSERT_EQ(Write(stream, physical, format), 0);
    Float64 rate = 0;
    ASSERT_EQ(Read(device, rateAddress, rate), 0);
    EXPECT_EQ(rate, high) << "a physical format of another rate sets the device's rate";
    format.mChannelsPerFrame = 7;
    EXPECT_EQ(Write(stream, physical, format), kAudioHardwareIllegalOperationError);
    AudioObjectRemovePropertyListener(stream, &physical, &Calls::Listener, &calls);
}

TYPED_TEST(DeviceLayerContract, AnInjectedFaultFailsOnlyItsProperty) {
    const AudioObjectID device = DeviceForUID(this->fHarness.PlugOutput("faulty"));
    this->fHarness.InjectFault(device, kAudioDevicePropertyNominalSampleRate, kAudioDevicePermissionsError);
    Float64 rate = 0;
    const auto rateAddress = Address(kAudioDevicePropertyNominalSampleRate);
    EXPECT_EQ(Read(device, rateAddress, rate), kAudioDevicePermissionsError);
    EXPECT_EQ(Write(device, rateAddress, Float64{44100}), kAudioDevicePermissionsError);
    EXPECT_FALSE(AudioObjectHasProperty(device, &rateAddress));
    EXPECT_EQ(ReadString(device, Address(kAudioObjectPropertyName)), "faulty");

    this->fHarness.ClearFaults();
    EXPECT_EQ(Read(device, rateAddress, rate), 0);
    EXPECT_GT(rate, 0);
}

TEST(NoDeviceLayer, EveryCallSaysTheHardwareIsNotRunning) {
    qcp::coreaudio::Install(nullptr);
    const auto devices = Address(kAudioHardwarePropertyDevices);
    UInt32 size = 0;
    AudioObjectID ids[4];
    Boolean settable;
    EXPECT_FALSE(AudioObjectHasProperty(kAudioObjectSystemObject, &devices));
    EXPECT_EQ(AudioObjectGetPropertyDataSize(kAudioObjectSystemObject, &devices, 0, nullptr, &size),
              kAudioHardwareNotRunningError);
    size = sizeof ids;
    EXPECT_EQ(AudioObjectGetPropertyData(kAudioObjectSystemObject, &devices, 0, nullptr, &size, ids),
              kAudioHardwareNotRunningError);
    EXPECT_EQ(AudioObjectSetPropertyData(kAudioObjectSystemObject, &devices, 0, nullptr, sizeof ids, ids),
              kAudioHardwareNotRunningError);
    EXPECT_EQ(AudioObjectIsPropertySettable(kAudioObjectSystemObject, &devices, &settable),
              kAudioHardwareNotRunningError);
    EXPECT_EQ(AudioObjectAddPropertyListener(kAudioObjectSystemObject, &devices, &Calls::Listener, nullptr),
              kAudioHardwareNotRunningError);
    EXPECT_EQ(AudioHardwareGetPropertyInfo(kAudioHardwarePropertyDevices, &size, nullptr),
              kAudioHardwareNotRunningError);
}

} // namespace
