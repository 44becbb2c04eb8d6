#include "SelectionFixture.h"

#include <mutex>
#include <set>
#include <string>

#include "CommonSDKVariables.h"
#include "MacCaptureWindowManager.h"
#include "Platform.h"

namespace {

const char* Translate(const char* key) {
    static std::mutex lock;
    static std::set<std::string> texts; // the host keeps what it hands out
    std::lock_guard guard(lock);
    return texts.insert(std::string("tr:") + key).first->c_str();
}

} // namespace

const SelectionTest::Answer SelectionTest::kCancelled{MC::MacCaptureSelectionDialog::kUserResponseCancel, 0, {}};

void SelectionTest::SetUp() {
    auto platform = qcp::platform::sim::MakePlatform();
    fWorld = &platform->world();
    fUser = &platform->user();
    world().AddScreen({1, {0, 0, 1920, 1080}, 1.0, "Main Panel", 60});
    world().AddScreen({2, {1920, 0, 1280, 1024}, 1.0, "Side Panel", 60});
    world().AddProcess(500, "Editor");
    world().AddProcess(610, "Browser");
    fNotes = world().OpenWindow(500, "Notes", {100, 100, 800, 600});
    fDraft = world().OpenWindow(500, "Draft", {200, 200, 800, 600});
    fHome = world().OpenWindow(610, "Home", {2000, 100, 800, 600});
    qcp::platform::Install(std::move(platform));
    MC::MacCaptureWindowManager::initializeMacCaptureWindowMgr();
    CSDK::registerLocalizeStringCallback(&Translate);
}

void SelectionTest::TearDown() {
    while (CSDK::isInitialized()) CSDK::uninitialize();
    MC::MacCaptureWindowManager::shutdownMacCaptureWindowMgr();
    qcp::platform::Install(nullptr);
}

void SelectionTest::Heard(MC::MacCaptureSelectionDialog::eUserResponse response, int id, const zRect* region,
                          void* userInfo) {
    static_cast<Answers*>(userInfo)->push_back({response, id, region ? std::optional(*region) : std::nullopt});
}
