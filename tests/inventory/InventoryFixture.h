#pragma once
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "MacCaptureWindowManager.h"
#include "SimPlatform.h"

// An empty simulated desktop installed as the platform; the inventory is shut
// down and the platform removed after each test.
class InventoryTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    qcp::platform::sim::SimWorld& world() { return *fWorld; }
    // A 1920 x 1080 main display (id 1) and a second one of the same size
    // to its right (id 2).
    void AddSideBySideDisplays();
    // Opens a window of a process, adding the process under `owner`.
    uint32_t Open(int32_t pid, std::optional<std::string> owner, std::optional<std::string> title,
                  const qcp::platform::Rect& bounds);
    // Starts the inventory (with its first refresh).
    static void Start() { MC::MacCaptureWindowManager::initializeMacCaptureWindowMgr(); }

    static constexpr int32_t kEditorPID = 500;

private:
    qcp::platform::sim::SimWorld* fWorld = nullptr;
};
