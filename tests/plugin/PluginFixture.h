#pragma once
#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

#include "QCP_API.h"

// Drives the plug-in through its C interface on the simulated platform, as a
// host would: initialised before each test, uninitialised after.
class PluginTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

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
    static void LogSink(void* context, int level, const char* format, ...);
};
