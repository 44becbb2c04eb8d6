// qcp-host itself, run as a user runs it, on the plug-in's simulated desktop.
#include <gtest/gtest.h>

#include <string>

#include "HostRun.h"
#include "SettingsRecord.h"

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
