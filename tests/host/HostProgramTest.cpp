// qcp-host itself, run as a user runs it, on the plug-in's simulated desktop.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

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

TEST(HostProgram, CaptureRefusesADisplayOrRegionThePluginLacks) {
    const auto refusal = [](std::vector<std::string> args) {
        args.insert(args.begin(), "capture");
        for (const char* more : {"--duration", "0.1", "--output"}) args.push_back(more);
        args.push_back(testing::TempDir());
        const HostRun run = RunHost(args);
        EXPECT_EQ(run.status, 2) << run.out;
        EXPECT_EQ(run.out, "") << "nothing recorded";
        return run.err;
    };
    EXPECT_EQ(refusal({"--display", "2"}), "qcp-host: no display 2; the plug-in lists 2 (0 to 1)\n");
    const HostRun choose = RunHost({"choose-region", "--display", "2"});
    EXPECT_EQ(choose.status, 2);
    EXPECT_EQ(choose.err, "qcp-host: no display 2; the plug-in lists 2 (0 to 1)\n");
    // Display 0 is 1920 x 1080 points: a region wholly off it, and one a
    // point too wide, are refused alike (they gave black frames, or none).
    EXPECT_EQ(refusal({"--region", "5000,0,5100,100"}),
              "qcp-host: region 5000,0,5100,100 lies outside display 0 (1920 x 1080 points)\n");
    EXPECT_EQ(refusal({"--region", "0,0,1920,1079"}),
              "qcp-host: region 0,0,1920,1079 extends past display 0 (1920 x 1080 points)\n");
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

    const HostRun configure = RunHost({"configure", "S"}, noX);
    EXPECT_EQ(configure.status, 1);
    EXPECT_EQ(configure.err, "qcp-host: the plug-in showed no dialog (no display, or built without windows)\n");
    EXPECT_TRUE(configure.out.empty()) << configure.out;
}

namespace {
// Whether `text` is exactly one line.
bool OneLine(const std::string& text) { return !text.empty() && text.find('\n') == text.size() - 1; }
} // namespace

TEST(HostProgram, EachCommandHasItsHelp) {
    for (const std::string command : {"list", "settings", "configure", "choose-region", "capture", "driver"}) {
        const HostRun help = RunHost({"help", command});
        EXPECT_EQ(help.status, 0) << command << ": " << help.err;
        EXPECT_TRUE(help.err.empty()) << help.err;
        EXPECT_NE(help.out.find("usage: qcp-host [--plugin PATH] " + command), std::string::npos) << help.out;
        for (const std::string flag : {"--help", "-h"}) {
            const HostRun asked = RunHost({command, flag});
            EXPECT_EQ(asked.status, 0) << command << " " << flag << ": " << asked.err;
            EXPECT_EQ(asked.out, help.out) << command << " " << flag;
        }
    }
    // Anywhere among capture's options, even where a value would go.
    const HostRun late = RunHost({"capture", "--cursor", "off", "--window", "-h", "--app", "Notes"});
    EXPECT_EQ(late.status, 0) << late.err;
    EXPECT_NE(late.out.find("usage: qcp-host [--plugin PATH] capture"), std::string::npos) << late.out;
}

TEST(HostProgram, CaptureHelpGivesEveryOptionItsDefault) {
    const std::string help = RunHost({"capture", "--help"}).out;
    for (const std::string option :
         {"--display N", "(default 0)", "--region", "(default: the whole display)", "--window TITLE --app APP",
          "--game", "--cursor on|off", "(default on)", "--duration SECONDS", "(default 3)", "--frames N",
          "(default: by time only)", "--output DIR", "(default capture-out)", "--png-interval SECONDS", "(default 1)",
          "--no-video", "--audio", "(default off)", "dominant", "60 frames a second", "SIGTERM",
          "\"dropped by the recorder\"", "temporary name", "130"})
        EXPECT_NE(help.find(option), std::string::npos) << option << " missing from\n" << help;
}

TEST(HostProgram, OverviewNamesTheCommands) {
    const HostRun overview = RunHost({"--help"});
    EXPECT_EQ(overview.status, 0);
    for (const std::string word : {"list", "settings", "configure", "choose-region", "capture", "driver",
                                   "qcp-host help COMMAND", "--plugin PATH",
                                   "QCP_PLATFORM"})
        EXPECT_NE(overview.out.find(word), std::string::npos) << word;
    EXPECT_EQ(RunHost({"help"}).out, overview.out);
}

TEST(HostProgram, BadUsageIsOneLine) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> bad = {
        {{"frobnicate"}, "unknown command 'frobnicate'; qcp-host help lists them"},
        {{}, "qcp-host help"},
        {{"help", "frobnicate"}, "unknown command 'frobnicate'"},
        {{"list", "--all"}, "qcp-host help list"},
        {{"settings", "put", "S"}, "qcp-host help settings"},
        {{"capture", "--colour", "red"}, "unknown option --colour"},
        {{"capture", "--frames", "0"}, "--frames takes a positive count"},
        {{"driver", "restart"}, "qcp-host help driver"},
        {{"configure"}, "qcp-host help configure"},
        {{"configure", "S", "<settings/>", "more"}, "qcp-host help configure"},
        {{"choose-region"}, "choose-region takes --display N"},
        {{"choose-region", "--display", "-1"}, "qcp-host help choose-region"},
        {{"--verbose", "list"}, "unknown option '--verbose'"},
        {{"--plugin"}, "--plugin needs a path"},
        // Usage is judged before the plug-in is loaded.
        {{"--plugin", "/nonexistent.so", "capture", "--display", "0.7"}, "--display takes a display index"},
    };
    for (const auto& [args, reason] : bad) {
        const HostRun run = RunHost(args);
        EXPECT_EQ(run.status, 2) << testing::PrintToString(args) << ": " << run.err;
        EXPECT_TRUE(OneLine(run.err)) << testing::PrintToString(args) << ":\n" << run.err;
        EXPECT_NE(run.err.find(reason), std::string::npos) << run.err;
        EXPECT_TRUE(run.out.empty()) << run.out;
    }
}

TEST(HostProgram, ListsDisplaysAndTranslatedNames) {
    const HostRun run = RunHost({"list"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("pc-capture  category 8  \"Screen Capture\""), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("source \"System Audio Capture\"  \"System Audio\""), std::string::npos) << run.out;
    EXPECT_EQ(run.out.find("obr_"), std::string::npos) << "no raw key is shown:\n" << run.out;
    EXPECT_NE(run.out.find("  0  id 1  \"Simulated Display 27\"  1920 x 1080 points, scale 1 (1920 x 1080 pixels)"),
              std::string::npos)
        << run.out;
    EXPECT_NE(run.out.find("  1  id 2  \"Simulated Display 19\"  1280 x 1024 points"), std::string::npos) << run.out;
}

namespace {
std::string Record(const std::vector<std::pair<std::string, std::string>>& parameters) {
    qcphost::SettingsRecord record;
    for (const auto& [name, value] : parameters) record.Add(name, value);
    return record.ToXml();
}
} // namespace

TEST(HostProgram, SettingsAreCheckedAgainstWhatThePluginLists) {
    const std::vector<std::pair<std::string, std::string>> refused = {
        {"<source><parameter name=\"cursor\" value=\"true\"/></source>", "not a \"settings\" record"},
        {Record({{"colour", "red"}}), "unknown parameter \"colour\""},
        {Record({{"cursor", "yes"}}), "\"cursor\" takes true or false"},
        {Record({{"Type", "99"}}), "\"Type\" 99 is not a capture type the plug-in lists (0, 1, 2)"},
        {Record({{"capture_monitor", "2"}}), "\"capture_monitor\" 2 is not -1 or a display the plug-in lists (0, 1)"},
        {Record({{"capture_monitor_state", "2"}}), "\"capture_monitor_state\" takes -1, 0"},
        {Record({{"capture_monitor_region", "0, 0,99,99"}}), "\"capture_monitor_region\" takes LEFT,TOP,RIGHT,BOTTOM"},
        {Record({{"capture_monitor", "1"}, {"capture_monitor_region", "0,0,1280,100"}}),
         "region 0,0,1280,100 extends past display 1 (1280 x 1024 points)"},
        {Record({{"capture_monitor_region", "5000,0,5100,100"}, {"capture_monitor", "0"}}),
         "region 5000,0,5100,100 lies outside display 0 (1920 x 1080 points)"},
    };
    for (const auto& [xml, reason] : refused) {
        const HostRun run = RunHost({"settings", "set", "S", xml});
        EXPECT_EQ(run.status, 2) << xml << run.out;
        EXPECT_TRUE(OneLine(run.err)) << run.err;
        EXPECT_NE(run.err.find(reason), std::string::npos) << run.err;
        EXPECT_TRUE(run.out.empty()) << run.out;
    }

    const HostRun corner = RunHost({"settings", "set", "S",
                                    Record({{"Type", "0"},
                                            {"capture_monitor", "1"},
                                            {"capture_monitor_region", "0,0,1279,1023"},
                                            {"capture_monitor_state", "1"}})});
    ASSERT_EQ(corner.status, 0) << corner.err;
    EXPECT_NE(corner.out.find("value=\"0,0,1279,1023\""), std::string::npos) << corner.out;
    EXPECT_NE(corner.out.find("name=\"capture_monitor\" value=\"1\""), std::string::npos) << corner.out;

    // What the plug-in writes it takes back.
    const HostRun written = RunHost({"settings", "get", "S"});
    ASSERT_EQ(written.status, 0) << written.err;
    const HostRun again = RunHost({"settings", "set", "S", written.out});
    EXPECT_EQ(again.status, 0) << again.err;

    const HostRun none = RunHost(
        {"settings", "set", "S",
         Record({{"capture_monitor", "-1"}, {"capture_monitor_region", "0,0,-1,-1"}, {"capture_monitor_state", "0"}})});
    EXPECT_EQ(none.status, 0) << none.err;
}
