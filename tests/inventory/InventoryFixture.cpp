#include "InventoryFixture.h"

#include "Platform.h"

void InventoryTest::SetUp() {
    auto platform = qcp::platform::sim::MakePlatform();
    fWorld = &platform->world();
    qcp::platform::Install(std::move(platform));
}

void InventoryTest::TearDown() {
    MC::MacCaptureWindowManager::shutdownMacCaptureWindowMgr();
    qcp::platform::Install(nullptr);
}

void InventoryTest::AddSideBySideDisplays() {
    world().AddScreen({1, {0, 0, 1920, 1080}, 1.0, "Main Panel", 60});
    world().AddScreen({2, {1920, 0, 1920, 1080}, 1.0, "Side Panel", 60});
}

uint32_t InventoryTest::Open(int32_t pid, std::optional<std::string> owner, std::optional<std::string> title,
                             const qcp::platform::Rect& bounds) {
    world().AddProcess(pid, std::move(owner));
    return world().OpenWindow(pid, std::move(title), bounds);
}
