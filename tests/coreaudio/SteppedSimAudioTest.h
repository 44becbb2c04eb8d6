#pragma once
#include <gtest/gtest.h>

#include <chrono>
#include <list>
#include <string>
#include <vector>

#include "AudioDeviceLayer.h"
#include "AudioUnitTestSupport.h"
#include "ManualClock.h"
#include "SimAudioSystem.h"
#include "WaitFor.h"

constexpr int64_t kSecond = 1'000'000;
// A little over 512 frames at 48 kHz, so that each step runs one cycle.
constexpr int64_t kPeriodMicros = 10'667;

// A test on the default simulated sound system whose devices' clocks move
// only when the test moves the clock.
class SteppedSimAudioTest : public testing::Test {
protected:
    void SetUp() override {
        auto system = qcp::coreaudio::sim::CreateDefaultSimAudioSystem();
        fSystem = system.get();
        qcp::coreaudio::Install(std::move(system));
    }
    void TearDown() override {
        for (AudioUnit unit : fUnits) AudioComponentInstanceDispose(unit);
        qcp::coreaudio::Install(nullptr);
    }
    // Moves the clock period by period (512 frames at 48 kHz), waiting each
    // time until every device in `uids` has run its cycle, as real devices
    // running side by side would.
    void Play(std::initializer_list<const char*> uids, int periods) {
        std::vector<uint64_t> start;
        for (const char* uid : uids) start.push_back(fSystem->IOCycles(uid));
        for (int i = 1; i <= periods; ++i) {
            fClock.Advance(kPeriodMicros);
            size_t n = 0;
            for (const char* uid : uids) {
                const uint64_t wanted = start[n++] + i;
                ASSERT_TRUE(WaitFor([&] { return fSystem->IOCycles(uid) >= wanted; }, std::chrono::seconds(10)))
                    << uid << " " << i;
            }
        }
    }
    AudioUnit Started(AudioObjectID device, coreaudio_test::Heard& heard, bool input) {
        AudioUnit unit = coreaudio_test::HALUnit(device, heard, input, fUnits);
        EXPECT_EQ(AudioOutputUnitStart(unit), 0);
        return unit;
    }
    AudioObjectID PlugOutput(const std::string& uid, Float64 clockRate) {
        qcp::coreaudio::sim::SimAudioDeviceSetup setup;
        setup.uid = uid;
        setup.name = uid;
        setup.outputStreams = {2};
        setup.bufferFrameSize = 480;
        setup.clockRate = clockRate;
        return fSystem->AddDevice(setup);
    }

    ManualClock fClock;
    qcp::coreaudio::sim::SimAudioSystem* fSystem = nullptr;
    // Outlive the units, whose callbacks report to them until disposed.
    std::list<coreaudio_test::Heard> fHeard;
    std::vector<AudioUnit> fUnits;
};
