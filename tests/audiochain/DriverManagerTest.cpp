#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "AudioDeviceLayer.h"
#include "CaptureDriver.h"
#include "CommonSDKVariables.h"
#include "ManualClock.h"
#include "Platform.h"
#include "SimAudioSystem.h"
#include "SimPlatform.h"
#include "VNAudioDriverManager.h"
#include "WaitFor.h"
#include "linux/X11System.h"
#include "zQueue.h"
#include "zTraceManager.h"
#include "zUserLogHistory.h"

namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

// The host's translator: "<key>." for every key, so that a test sees both
// that the key was looked up and which one.
const char* Translate(const char* key) {
    static std::map<std::string, std::string> texts;
    auto [entry, added] = texts.try_emplace(key, std::string(key) + ".");
    return entry->second.c_str();
}

class DriverManagerTest : public testing::Test {
protected:
    void SetUp() override {
        auto system = qcp::coreaudio::sim::CreateDefaultSimAudioSystem();
        fSim = system.get();
        qcp::coreaudio::Install(std::move(system));
        auto platform = qcp::platform::sim::MakePlatform();
        fWorld = &platform->world();
        qcp::platform::Install(std::move(platform));
        fFolder = fs::temp_directory_path() /
                  ("qcp-driver-manager-" + std::string(testing::UnitTest::GetInstance()->current_test_info()->name()));
        fs::remove_all(fFolder);
        fs::create_directories(fFolder);
        fWorld->SetResourceFolder(fFolder.string());
        CSDK::initialize();
        CSDK::registerLocalizeStringCallback(&Translate);
        zUserLogHistory::Default()->Clear();
    }
    void TearDown() override {
        CSDK::registerLocalizeStringCallback(nullptr);
        CSDK::uninitialize();
        // Completions still due on the main queue must not outlive the test.
        zQueue::Main().Sync([] {});
        qcp::platform::Install(nullptr);
        qcp::coreaudio::Install(nullptr);
        fs::remove_all(fFolder);
    }
    void ShipPackage(const char* name) { std::ofstream(fFolder / name) << "exit 0\n"; }
    void InstallDriverAt(const std::string& version) {
        fSim->RemoveDriver();
        ASSERT_TRUE(fSim->InstallDriver(version));
    }
    std::vector<std::string> UserLog() const {
        std::vector<std::string> texts;
        for (const auto& entry : zUserLogHistory::Default()->Entries()) texts.push_back(entry.text);
        return texts;
    }
    // Prompts with force and answers `button`; the completion counts calls.
    void PromptAnswering(int button) {
        fWorld->SetModalAlertAnswer(button);
        VNAudioDriverManager::checkAndPromptToInstall([this] { ++fCompletions; }, true);
    }

    qcp::coreaudio::sim::SimAudioSystem* fSim = nullptr;
    qcp::platform::sim::SimWorld* fWorld = nullptr;
    fs::path fFolder;
    std::atomic<int> fCompletions{0};
};

TEST_F(DriverManagerTest, ACurrentOrNewerDriverIsNeverPromptedFor) {
    // "1.0.10" orders before "1.0.3" as text, after it as a version.
    for (const char* version : {"1.0.3", "1.0.4", "1.0.10", "2.0"}) {
        SCOPED_TRACE(version);
        InstallDriverAt(version);
        EXPECT_TRUE(VNAudioDriverManager::isInstalled());
        EXPECT_FALSE(VNAudioDriverManager::needsUpdate());
        PromptAnswering(1);
    }
    EXPECT_TRUE(fWorld->Alerts().empty());
    EXPECT_EQ(fCompletions, 0);
}

TEST_F(DriverManagerTest, AnOlderOrUnreadableDriverGetsTheUpdatePrompt) {
    const std::vector<std::string> update{"mac_audio_driver_update_button_title.",
                                          "mac_audio_driver_cancel_button_title."};
    InstallDriverAt("1.0.2");
    EXPECT_TRUE(VNAudioDriverManager::isInstalled());
    EXPECT_TRUE(VNAudioDriverManager::needsUpdate());
    PromptAnswering(1);
    ASSERT_EQ(fWorld->Alerts().size(), 1u);
    EXPECT_EQ(fWorld->Alerts()[0].message, "mac_audio_driver_update_required.");
    EXPECT_EQ(fWorld->Alerts()[0].informativeText, "mac_audio_driver_update_required_details.");
    EXPECT_EQ(fWorld->Alerts()[0].buttons, update);

    InstallDriverAt("1.0.3");
    zTraceManager::Default().ClearHistory();
    fSim->InjectFault(fSim->DeviceID(kCaptureDriverPlayedIntoUID), kCaptureDriverPropertyVersion,
                      kAudioHardwareUnknownPropertyError);
    EXPECT_TRUE(VNAudioDriverManager::needsUpdate());
    bool traced = false;
    for (const auto& entry : zTraceManager::Default().History())
        traced |= entry.text.rfind("System Audio Capture: Failed to get driver version. ", 0) == 0;
    EXPECT_TRUE(traced);
    PromptAnswering(1);
    ASSERT_EQ(fWorld->Alerts().size(), 2u);
    EXPECT_EQ(fWorld->Alerts()[1].message, "mac_audio_driver_update_required.");
    EXPECT_EQ(fWorld->Alerts()[1].buttons, update);
}

TEST_F(DriverManagerTest, AMissingDriverGetsTheInstallPromptWithTheKeysWhenUntranslated) {
    ASSERT_TRUE(fSim->RemoveDriver());
    EXPECT_FALSE(VNAudioDriverManager::isInstalled());
    EXPECT_TRUE(VNAudioDriverManager::needsUpdate());
    CSDK::registerLocalizeStringCallback(nullptr);
    PromptAnswering(1);
    ASSERT_EQ(fWorld->Alerts().size(), 1u);
    const qcp::platform::Alert alert = fWorld->Alerts()[0];
    EXPECT_EQ(alert.message, "mac_audio_driver_install_required");
    EXPECT_EQ(alert.informativeText, "mac_audio_driver_install_required_details");
    const std::vector<std::string> buttons{"mac_audio_driver_install_button_title",
                                           "mac_audio_driver_cancel_button_title"};
    EXPECT_EQ(alert.buttons, buttons);
}

TEST_F(DriverManagerTest, WithoutForceTheUserIsAskedOnlyOnce) {
    ASSERT_TRUE(fSim->RemoveDriver());
    PromptAnswering(1); // asked now, if not before in this process
    ASSERT_EQ(fWorld->Alerts().size(), 1u);
    VNAudioDriverManager::checkAndPromptToInstall([this] { ++fCompletions; }, false);
    EXPECT_EQ(fWorld->Alerts().size(), 1u);
    EXPECT_EQ(fCompletions, 1); // only the first prompt's cancel
    PromptAnswering(1);
    EXPECT_EQ(fWorld->Alerts().size(), 2u);
    EXPECT_EQ(fCompletions, 2);
}

TEST_F(DriverManagerTest, CancelCompletesAtOnceWithoutAnInstaller) {
    ShipPackage(VNAudioDriverManager::kInstallPackage);
    InstallDriverAt("1.0.2");
    PromptAnswering(1);
    EXPECT_EQ(fCompletions, 1);
    EXPECT_TRUE(fWorld->InstallerRuns().empty());
    VNAudioDriverManager::checkAndPromptToInstall(nullptr, true); // no completion to call
    EXPECT_EQ(fWorld->Alerts().size(), 2u);
}

TEST_F(DriverManagerTest, InstallCompletesOnTheMainQueueHalfASecondAfterTheInstallerExits) {
    ManualClock clock;
    ShipPackage(VNAudioDriverManager::kInstallPackage);
    ASSERT_TRUE(fSim->RemoveDriver());
    std::atomic<bool> onMainQueue{false};
    fWorld->SetModalAlertAnswer(0);
    VNAudioDriverManager::checkAndPromptToInstall(
        [&] {
            onMainQueue = zQueue::Main().IsCurrent();
            ++fCompletions;
        },
        true);
    const std::vector<std::string> runs{(fFolder / "InstallOstrelAudioCapture.pkg").string()};
    ASSERT_EQ(fWorld->InstallerRuns(), runs);

    // The installer takes its time; nothing completes while it runs.
    clock.Advance(5'000'000);
    zQueue::Main().Sync([] {});
    EXPECT_EQ(fCompletions, 0);

    ASSERT_TRUE(fSim->InstallDriver());
    ASSERT_TRUE(fWorld->FinishInstaller(0, 0));
    EXPECT_FALSE(fWorld->FinishInstaller(0, 0));
    clock.Advance(499'999);
    zQueue::Main().Sync([] {});
    EXPECT_EQ(fCompletions, 0);
    clock.Advance(1);
    ASSERT_TRUE(WaitFor([&] { return fCompletions == 1; }, 10s));
    EXPECT_TRUE(onMainQueue);
    EXPECT_TRUE(VNAudioDriverManager::isInstalled());
    EXPECT_FALSE(VNAudioDriverManager::needsUpdate());
}

TEST_F(DriverManagerTest, UninstallRunsItsOwnPackage) {
    ShipPackage(VNAudioDriverManager::kUninstallPackage);
    VNAudioDriverManager::uninstallAudioDriver();
    const std::vector<std::string> runs{(fFolder / "UninstallOstrelAudioDrivers.pkg").string()};
    EXPECT_EQ(fWorld->InstallerRuns(), runs);
    EXPECT_TRUE(fWorld->FinishInstaller(0, 0));
    EXPECT_TRUE(UserLog().empty());
}

TEST_F(DriverManagerTest, MissingPackagesAreUserLoggedAndNothingRuns) {
    ShipPackage(VNAudioDriverManager::kUninstallPackage); // not the one installing needs
    EXPECT_FALSE(VNAudioDriverManager::installAudioDriver([this] { ++fCompletions; }));
    fs::remove(fFolder / VNAudioDriverManager::kUninstallPackage);
    VNAudioDriverManager::uninstallAudioDriver();
    fWorld->SetResourceFolder("");
    EXPECT_FALSE(VNAudioDriverManager::installAudioDriver(nullptr));
    VNAudioDriverManager::uninstallAudioDriver();
    fWorld->SetResourceFolder("Resources");
    EXPECT_FALSE(VNAudioDriverManager::installAudioDriver(nullptr));
    VNAudioDriverManager::uninstallAudioDriver();
    qcp::platform::Install(nullptr);
    EXPECT_FALSE(VNAudioDriverManager::installAudioDriver(nullptr));
    VNAudioDriverManager::uninstallAudioDriver();

    const std::vector<std::string> expected{
        "Unable to install audio driver because the installer package is missing. Try reinstalling Pellory.\n",
        "Unable to uninstall audio driver because the uninstaller package is missing. Try reinstalling Pellory.\n",
        "Unable to install audio driver because the resource folder path could not be found.\n",
        "Unable to uninstall audio driver because the resource folder path could not be found.\n",
        "Unable to install audio driver because the package path could not be found.\n",
        "Unable to uninstall audio driver because the package path could not be found.\n",
        "Unable to install audio driver because the bundle could not be found.\n",
        "Unable to uninstall audio driver because the bundle could not be found.\n",
    };
    EXPECT_EQ(UserLog(), expected);
    for (const auto& entry : zUserLogHistory::Default()->Entries()) EXPECT_EQ(entry.level, 1);
    EXPECT_EQ(fCompletions, 0);
}

// On Linux an installer package is a shell script run in a child process.
TEST(X11InstallerRun, ReportsTheScriptsExitStatusWithoutBlocking) {
    const fs::path script = fs::temp_directory_path() / "qcp-installer-exit-3.sh";
    const fs::path gate = fs::temp_directory_path() / "qcp-installer-gate";
    fs::remove(gate);
    ASSERT_EQ(mkfifo(gate.c_str(), 0600), 0);
    // Reading the gate blocks the script until the test writes to it.
    std::ofstream(script) << "read line < '" << gate.string() << "'\nexit 3\n";
    qcp::platform::x11::X11System system(nullptr);
    std::atomic<int> status{-100};
    system.runInstallerPackage(script.string(), [&](int exitStatus) { status = exitStatus; });
    EXPECT_EQ(status, -100);
    std::ofstream(gate) << "go\n";
    EXPECT_TRUE(WaitFor([&] { return status != -100; }, 10s));
    EXPECT_EQ(status, 3);

    std::atomic<int> missing{-100};
    system.runInstallerPackage((fs::temp_directory_path() / "qcp-no-such-installer.sh").string(),
                               [&](int exitStatus) { missing = exitStatus; });
    EXPECT_TRUE(WaitFor([&] { return missing != -100; }, 10s));
    EXPECT_NE(missing, 0);
    fs::remove(script);
    fs::remove(gate);
}

} // namespace
