#pragma once
#include <gtest/gtest.h>

#include "AudioDeviceLayer.h"
#include "SimAudioSystem.h"

// A test on the default simulated sound system, installed as the device
// layer for the test's length.
class DefaultSimAudioTest : public testing::Test {
protected:
    void SetUp() override {
        auto system = qcp::coreaudio::sim::CreateDefaultSimAudioSystem();
        fSim = system.get();
        qcp::coreaudio::Install(std::move(system));
        // The world's making is old news before the test begins.
        fSim->SettleListeners();
    }
    void TearDown() override { qcp::coreaudio::Install(nullptr); }

    qcp::coreaudio::sim::SimAudioSystem* fSim = nullptr;
};
