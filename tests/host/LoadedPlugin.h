#pragma once
#include <gtest/gtest.h>

#include <memory>

#include "PluginLibrary.h"

// The built plug-in, loaded with dlopen as qcp-host loads it, on its
// simulated desktop (two displays; Notes with "Shopping list" and "Ideas",
// among others): initialised before each test, uninitialised after.
class LoadedPlugin : public ::testing::Test {
protected:
    static void SetUpTestSuite();
    static void TearDownTestSuite();
    void SetUp() override;
    void TearDown() override;

    static qcphost::PluginLibrary& plugin() { return *sPlugin; }

private:
    static std::unique_ptr<qcphost::PluginLibrary> sPlugin;
};
