// `qcp-host driver`: the audio capture driver's scripts, run by the host
// against a private sound server, with a home of their own so that the
// user's configuration is never touched.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "HostRun.h"
#include "PulseServer.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* kPlayedInto = "5C0D2E71-8A4B-4F36-B1C9-2E7D90A4F6B3";
constexpr const char* kRecordedFrom = "7F6B3A10-2C5D-4E8A-9B21-D4C6E8F0A2B7";
constexpr const char* kMark = "### qcp audio capture driver begin";

// A directory of the test's own, removed with it.
class TempDirectory {
public:
    TempDirectory() {
        std::string pattern = testing::TempDir() + "qcp-driver-XXXXXX";
        if (mkdtemp(pattern.data())) fPath = pattern;
    }
    ~TempDirectory() {
        std::error_code error;
        if (!fPath.empty()) fs::remove_all(fPath, error);
    }
    const fs::path& path() const { return fPath; }

private:
    fs::path fPath;
};

size_t Count(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
    return count;
}

bool HasPactl() { return std::system("command -v pactl >/dev/null 2>&1") == 0; }

class DriverCommand : public ::testing::Test {
protected:
    void SetUp() override {
        if (!HasPactl()) GTEST_SKIP() << "pactl is not installed";
        if (!fServer.Unavailable().empty()) GTEST_SKIP() << fServer.Unavailable();
        ASSERT_FALSE(fHome.path().empty());
        // No display either: the command needs none.
        fEnvironment = "env -u DISPLAY PULSE_SERVER=" + Quoted(fServer.Address()) +
                       " HOME=" + Quoted(fHome.path()) + " XDG_CONFIG_HOME=" + Quoted(Config());
    }

    HostRun Driver(const std::string& action) { return RunHost({"driver", action}, fEnvironment); }

    // pactl's output on the private server; fails the test when pactl does.
    std::string Pactl(const std::string& arguments) {
        FILE* pipe = popen((fEnvironment + " pactl " + arguments + " 2>&1").c_str(), "r");
        std::string out;
        char buffer[4096];
        for (size_t n; pipe && (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) out.append(buffer, n);
        const int status = pipe ? pclose(pipe) : -1;
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "pactl " << arguments << ": " << out;
        return out;
    }

    std::string Config() const { return (fHome.path() / "config").string(); }

    std::string PulseConfig() const {
        std::ostringstream text;
        text << std::ifstream(Config() + "/pulse/default.pa").rdbuf();
        return text.str();
    }

    coreaudio_test::PulseServer fServer;
    TempDirectory fHome;
    std::string fEnvironment;
};

TEST_F(DriverCommand, InstallsReportsAndUninstalls) {
    HostRun status = Driver("status");
    EXPECT_EQ(status.status, 4) << status.err;
    EXPECT_NE(status.out.find("installed: no\n"), std::string::npos) << status.out;
    EXPECT_NE(status.out.find(std::string("played into: ") + kPlayedInto + " (missing)"), std::string::npos)
        << status.out;

    for (int round = 0; round < 2; ++round) {
        SCOPED_TRACE(round == 0 ? "first install" : "second install");
        const HostRun install = Driver("install");
        EXPECT_EQ(install.status, 0) << install.err;
        EXPECT_NE(install.out.find("Audio capture driver 1.0.3 installed."), std::string::npos) << install.out;
        // Loaded and made to last once, however often it is installed.
        const std::string modules = Pactl("list short modules");
        EXPECT_EQ(Count(modules, std::string("sink_name=") + kPlayedInto), 1u) << modules;
        EXPECT_EQ(Count(modules, std::string("source_name=") + kRecordedFrom), 1u) << modules;
        EXPECT_EQ(Count(PulseConfig(), kMark), 1u) << PulseConfig();
    }
    EXPECT_NE(Pactl("list short sinks").find(kPlayedInto), std::string::npos);
    EXPECT_NE(Pactl("list short sources").find(kRecordedFrom), std::string::npos);
    for (const char* kind : {"sinks", "sources"})
        EXPECT_EQ(Count(Pactl(std::string("list ") + kind), "qcp.driver.version = \"1.0.3\""), 1u) << kind;

    status = Driver("status");
    EXPECT_EQ(status.status, 0) << status.err;
    EXPECT_EQ(status.out, std::string("installed: yes\nversion: 1.0.3 (expected 1.0.3)\ncurrent: yes\n") +
                              "played into: " + kPlayedInto + " (present)\nrecorded from: " + kRecordedFrom +
                              " (present)\n");

    const HostRun uninstall = Driver("uninstall");
    EXPECT_EQ(uninstall.status, 0) << uninstall.err;
    EXPECT_EQ(Pactl("list short sinks").find(kPlayedInto), std::string::npos);
    EXPECT_EQ(Pactl("list short sources").find(kRecordedFrom), std::string::npos);
    EXPECT_EQ(Count(PulseConfig(), kMark), 0u) << PulseConfig();
    EXPECT_EQ(Driver("status").status, 4);
}

TEST_F(DriverCommand, ComparesVersionsNumerically) {
    struct Case {
        const char* properties;
        int status;
        const char* version;
    };
    // "1.0.10" orders before "1.0.3" as text, after it as a version; a
    // driver without a version counts as outdated, as the plug-in sees it.
    for (const Case& c : {Case{"qcp.driver.version=1.0.2", 5, "1.0.2"}, Case{"qcp.driver.version=1.0", 5, "1.0"},
                          Case{"qcp.driver.version=1.0.10", 0, "1.0.10"}, Case{"device.description=Old", 5, "none"}}) {
        SCOPED_TRACE(c.properties);
        const std::string module =
            Pactl(std::string("load-module module-null-sink sink_name=") + kPlayedInto + " sink_properties=" +
                  c.properties);
        const HostRun status = Driver("status");
        EXPECT_EQ(status.status, c.status) << status.err;
        EXPECT_NE(status.out.find(std::string("version: ") + c.version + " (expected 1.0.3)"), std::string::npos)
            << status.out;
        EXPECT_NE(status.out.find(c.status == 0 ? "current: yes" : "current: no"), std::string::npos) << status.out;
        EXPECT_NE(status.out.find(std::string(kRecordedFrom) + " (missing)"), std::string::npos) << status.out;
        Pactl("unload-module " + module);
    }
}

TEST_F(DriverCommand, InstallReplacesAnOutdatedDriver) {
    // As an earlier release installed it: loaded, and made to last.
    Pactl(std::string("load-module module-null-sink sink_name=") + kPlayedInto +
          " sink_properties=qcp.driver.version=1.0.2");
    std::filesystem::create_directories(Config() + "/pulse");
    std::ofstream(Config() + "/pulse/default.pa")
        << kMark << "\nload-module module-null-sink sink_name=" << kPlayedInto
        << "\n### qcp audio capture driver end\n";
    ASSERT_EQ(Driver("status").status, 5);

    const HostRun install = Driver("install");
    EXPECT_EQ(install.status, 0) << install.err;
    const HostRun status = Driver("status");
    EXPECT_EQ(status.status, 0) << status.out;
    EXPECT_EQ(Count(Pactl("list short modules"), std::string("sink_name=") + kPlayedInto), 1u);
    EXPECT_EQ(Count(PulseConfig(), kMark), 1u) << PulseConfig();
    EXPECT_NE(PulseConfig().find("qcp.driver.version=1.0.3"), std::string::npos) << PulseConfig();
}

TEST(DriverCommandWithoutServer, SaysSoInOneLine) {
    if (!HasPactl()) GTEST_SKIP() << "pactl is not installed";
    TempDirectory home;
    const std::string environment = "env -u DISPLAY PULSE_SERVER=unix:" + Quoted(home.path() / "none") +
                                    " HOME=" + Quoted(home.path()) + " XDG_CONFIG_HOME=" + Quoted(home.path());
    for (const char* action : {"status", "install", "uninstall"}) {
        SCOPED_TRACE(action);
        const HostRun run = RunHost({"driver", action}, environment);
        EXPECT_EQ(run.status, 3);
        EXPECT_EQ(run.err, "Audio capture driver: no sound server is running for this user; start PulseAudio or "
                           "PipeWire and try again.\n");
        EXPECT_EQ(run.out, "");
    }
    EXPECT_FALSE(fs::exists(home.path() / "pulse")) << "nothing is configured without a server";
}

// A copy of the plug-in elsewhere, with scripts of the test's own.
TEST(DriverCommandScripts, AreTheOnesBesideTheLoadedPlugin) {
    TempDirectory folder;
    const fs::path plugin = folder.path() / "libMacCapture.so";
    fs::copy_file(QCP_TEST_PLUGIN, plugin);
    fs::create_directory(folder.path() / "Resources");
    std::ofstream(folder.path() / "Resources/InstallOstrelAudioCapture.pkg")
        << "echo 'stub installer failed' >&2\nexit 7\n";

    const HostRun byVariable = RunHost({"driver", "install"}, "env -u DISPLAY QCP_PLUGIN=" + Quoted(plugin));
    EXPECT_EQ(byVariable.status, 7);
    EXPECT_EQ(byVariable.err, "stub installer failed\n");
    const HostRun byOption = RunHost({"--plugin", plugin.string(), "driver", "install"});
    EXPECT_EQ(byOption.status, 7);
    EXPECT_EQ(byOption.err, "stub installer failed\n");

    const HostRun missing = RunHost({"--plugin", plugin.string(), "driver", "uninstall"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.err, "qcp-host: the plug-in's driver script " +
                               (fs::canonical(folder.path()) / "Resources/UninstallOstrelAudioDrivers.pkg").string() +
                               " is missing\n");
}

TEST(DriverCommandScripts, RefuseBadUsage) {
    for (const std::vector<std::string>& args : std::vector<std::vector<std::string>>{
             {"driver"}, {"driver", "repair"}, {"driver", "status", "now"}}) {
        const HostRun run = RunHost(args);
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.err, "qcp-host: driver takes status, install or uninstall; qcp-host help driver shows its use\n");
    }
}

} // namespace
