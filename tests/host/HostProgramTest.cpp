// qcp-host itself, run as a user runs it, on the plug-in's simulated desktop.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "SettingsRecord.h"

namespace {

struct HostRun {
    int status = -1;
    std::string out, err;
};

std::string Quoted(const std::string& text) {
    std::string quoted = "'";
    for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

constexpr const char* kSim = "env QCP_PLATFORM=sim";

// `environment` is an env(1) command line that sets up the host's environment.
HostRun RunHost(const std::vector<std::string>& args, const std::string& environment = kSim) {
    // Per process: the tests may run side by side.
    const std::string errFile = testing::TempDir() + "qcp-host-stderr-" + std::to_string(getpid()) + ".txt";
    std::string command = environment + " " + Quoted(QCP_TEST_HOST);
    for (const std::string& arg : args) command += " " + Quoted(arg);
    command += " 2>" + Quoted(errFile);
    HostRun run;
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return run;
    char buffer[4096];
    for (size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) run.out.append(buffer, n);
    const int status = pclose(pipe);
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    std::ostringstream err;
    err << std::ifstream(errFile).rdbuf();
    run.err = err.str();
    return run;
}

} // namespace

TEST(HostProgram, ListsTheSimulatedDesktop) {
    const HostRun run = RunHost({"list"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("model: "), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("displays: 2\n"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("\"Shopping list\""), std::string::npos) << run.out;
    EXPECT_EQ(run.err.find("no displays"), std::string::npos) << run.err;
}

TEST(HostProgram, SettingsKeepAnAwkwardTitle) {
    const std::string title = "Q&A <\"draft\"> — Zürich";
    qcphost::SettingsRecord game;
    game.Add("capture_video", "false");
    game.Add("Type", "2");
    game.Add("capture_window", title);
    game.Add("capture_app", "Notes & Co");
    const HostRun set = RunHost({"settings", "set", "S & <\"1\">", game.ToXml()});
    ASSERT_EQ(set.status, 0) << set.err;
    qcphost::SettingsRecord answer;
    std::string error;
    ASSERT_TRUE(qcphost::SettingsRecord::Parse(set.out, answer, error)) << error << "\n" << set.out;
    EXPECT_EQ(answer.Value("capture_window"), title);
    EXPECT_EQ(answer.Value("capture_app"), "Notes & Co");

    // Unescaped, the same title is no XML: refused with the reason.
    const HostRun raw = RunHost({"settings", "set", "S", "<settings><parameter name=\"capture_window\" value=\"" + title +
                                                         "\"/></settings>"});
    EXPECT_EQ(raw.status, 2);
    EXPECT_NE(raw.err.find("not well-formed XML"), std::string::npos) << raw.err;
    EXPECT_TRUE(raw.out.empty()) << raw.out;

    const HostRun get = RunHost({"settings", "get", "S & <\"1\">"});
    ASSERT_EQ(get.status, 0) << get.err;
    ASSERT_TRUE(qcphost::SettingsRecord::Parse(get.out, answer, error)) << error << "\n" << get.out;
    EXPECT_EQ(answer.Value("Type"), "0");
}

TEST(HostProgram, CaptureRefusesADisplayThePluginLacks) {
    const HostRun run = RunHost({"capture", "--display", "2", "--duration", "0.1", "--output", testing::TempDir()});
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.err.find("no display 2; the plug-in lists 2"), std::string::npos) << run.err;
}

TEST(HostProgram, SaysSoWhenThereIsNoDisplay) {
    // The native platform without an X server offers nothing to capture.
    const std::string noX = "env -u DISPLAY QCP_PLATFORM=linux";
    const std::string why = "no displays: is an X server running? ($DISPLAY is unset)";
    const HostRun list = RunHost({"list"}, noX);
    EXPECT_EQ(list.status, 0) << list.err;
    EXPECT_NE(list.out.find("displays: 0\n"), std::string::npos) << list.out;
    EXPECT_NE(list.err.find(why), std::string::npos) << list.err;

    const HostRun capture = RunHost({"capture", "--duration", "5", "--output", testing::TempDir()}, noX);
    EXPECT_EQ(capture.status, 1);
    EXPECT_NE(capture.err.find(why), std::string::npos) << capture.err;
    EXPECT_EQ(capture.out.find("frames:"), std::string::npos) << "nothing is recorded: " << capture.out;
}
