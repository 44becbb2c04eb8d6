#include "LoadedPlugin.h"

#include <cstdlib>

std::unique_ptr<qcphost::PluginLibrary> LoadedPlugin::sPlugin;

void LoadedPlugin::SetUpTestSuite() {
    // Read when the library initialises.
    setenv("QCP_PLATFORM", "sim", 1);
    sPlugin = std::make_unique<qcphost::PluginLibrary>(QCP_TEST_PLUGIN);
}

void LoadedPlugin::TearDownTestSuite() { sPlugin.reset(); }

void LoadedPlugin::SetUp() { ASSERT_EQ(plugin().QCP_IntitializeLibrary(), 1); }

void LoadedPlugin::TearDown() { plugin().QCP_UninitializeLibrary(); }
