#pragma once
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <vector>

#include "AudioDeviceLayer.h"
#include "CaptureDriver.h"
#include "SimAudioSystem.h"
#include "vnAudioHelper.h"
#include "vnAudio_mac.h"
#include "zUserLogHistory.h"

using qcp::coreaudio::sim::kSimSpeakersUID;

// Counts what the recorder delivers, and shows the ring's size.
class CountingEngine : public vnAudio_mac {
public:
    ~CountingEngine() override { Stop(); }
    void ProcessAudioData(double sampleTime, unsigned long long hostTime, void* data, int size) override {
        vnAudio_mac::ProcessAudioData(sampleTime, hostTime, data, size);
        if (size > 0) bytes += size;
    }
    unsigned int RingBytes() {
        std::lock_guard lock(fRingLock);
        return fRing ? fRing->BufferSizeInBytes() : 0;
    }
    std::atomic<long> bytes{0};
};

// A test of the capture chain on the default simulated sound system, on the
// real clock, with the user log cleared.
class SystemAudioChainTest : public testing::Test {
protected:
    void SetUp() override {
        auto system = qcp::coreaudio::sim::CreateDefaultSimAudioSystem();
        fSim = system.get();
        qcp::coreaudio::Install(std::move(system));
        // The world's making is old news before the test begins.
        fSim->SettleListeners();
        zUserLogHistory::Default()->Clear();
    }
    void TearDown() override { qcp::coreaudio::Install(nullptr); }

    static std::vector<std::string> UserLog() {
        std::vector<std::string> lines;
        for (const auto& entry : zUserLogHistory::Default()->Entries()) lines.push_back(entry.text);
        return lines;
    }
    static bool Logged(const std::string& text) {
        const auto lines = UserLog();
        return std::find(lines.begin(), lines.end(), text) != lines.end();
    }
    AudioObjectID Default(AudioObjectPropertySelector selector) const {
        AudioObjectID device = kAudioObjectUnknown;
        UInt32 size = sizeof device;
        const AudioObjectPropertyAddress address{selector, kAudioObjectPropertyScopeGlobal,
                                                 kAudioObjectPropertyElementMain};
        AudioObjectGetPropertyData(kAudioObjectSystemObject, &address, 0, nullptr, &size, &device);
        return device;
    }
    // Routes both outputs to the capture driver, as a run that died would
    // have left them.
    void LeaveRoutingOnTheDriver() {
        const AudioObjectID driver = fSim->DeviceID(kCaptureDriverPlayedIntoUID);
        const AudioObjectPropertyAddress canBeDefault{kCaptureDriverPropertyCanBeDefault,
                                                      kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMain};
        const CFBooleanRef yes = kCFBooleanTrue;
        ASSERT_EQ(AudioObjectSetPropertyData(driver, &canBeDefault, 0, nullptr, sizeof yes, &yes), 0);
        ASSERT_TRUE(fSim->SetDefault(kAudioHardwarePropertyDefaultOutputDevice, kCaptureDriverPlayedIntoUID));
        ASSERT_TRUE(fSim->SetDefault(kAudioHardwarePropertyDefaultSystemOutputDevice, kCaptureDriverPlayedIntoUID));
    }

    qcp::coreaudio::sim::SimAudioSystem* fSim = nullptr;
};
