#pragma once
#include <gtest/gtest.h>

#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "QCP_API.h"
#include "SimUser.h"
#include "SimWorld.h"
#include "WaitFor.h"

// Drives the plug-in through its C interface on the simulated platform, as a
// host would: initialised before each test, uninitialised after.
class PluginTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // The simulated desktop: two displays side by side, main 1920 x 1080
    // (id 11) and 1280 x 1024 (id 22) to its right, tops aligned.
    qcp::platform::sim::SimWorld& world() { return *fWorld; }
    // Who answers the plug-in's dialogs and overlays.
    qcp::platform::sim::SimUser& user() { return *fUser; }
    static constexpr uint32_t kMainDisplay = 11;
    static constexpr uint32_t kSecondDisplay = 22;

    // The settings record of a source as the host reads it.
    static std::string Settings(const std::string& source);
    static void SetSettings(const std::string& source, const std::string& xml);
    // One parameter's value in a settings text, "<absent>" when missing.
    static std::string Value(const std::string& settings, const std::string& name);

    // The host's log: every line the plug-in delivered, formatted.
    struct LogLine {
        int level;
        std::string text;
    };
    std::vector<LogLine> log;
    void InstallLog();

    static std::string SourceId(const char* device, uint32_t index);
    static std::string SourceDisplayName(const char* device, const char* source);
    std::string CreateSource();

private:
    qcp::platform::sim::SimWorld* fWorld = nullptr;
    qcp::platform::sim::SimUser* fUser = nullptr;
    static void LogSink(void* context, int level, const char* format, ...);
};
