#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "SettingsCheck.h"

using qcphost::SettingsChoices;
using qcphost::SettingsRecord;

namespace {

const SettingsChoices kChoices{{0, 1, 2}, {{0, 11, "Main", 1920, 1080, 1}, {1, 22, "Side", 1280, 1024, 1}}};

std::string Problem(const std::vector<std::pair<std::string, std::string>>& parameters,
                    const SettingsChoices& choices = kChoices) {
    SettingsRecord record;
    for (const auto& [name, value] : parameters) record.Add(name, value);
    return qcphost::SettingsProblem(record, choices);
}

} // namespace

TEST(SettingsCheck, TakesWhatThePluginWrites) {
    EXPECT_EQ(Problem({{"Type", "1"},
                       {"cursor", "true"},
                       {"capture_audio", "false"},
                       {"capture_video", "true"},
                       {"capture_window", "Q&A <draft>"},
                       {"capture_app", ""},
                       {"capture_game_fullscreen", "false"},
                       {"capture_monitor", "0"},
                       {"capture_monitor_region", "100,50,739,529"},
                       {"capture_monitor_state", "1"}}),
              "");
    // A source without a display, and a region that is none.
    EXPECT_EQ(Problem({{"capture_monitor", "-1"},
                       {"capture_monitor_region", "0,0,-1,-1"},
                       {"capture_monitor_state", "-1"}}),
              "");
    EXPECT_EQ(Problem({{"capture_monitor", "1"}, {"capture_monitor_region", "5,5,4,4"}}), "") << "empty: none";
    EXPECT_EQ(Problem({}), "");
}

TEST(SettingsCheck, RefusesValuesOutOfForm) {
    const std::vector<std::pair<std::string, std::vector<std::string>>> refused = {
        {"cursor", {"yes", "True"}},
        {"capture_audio", {"1"}},
        {"capture_video", {""}},
        {"capture_game_fullscreen", {"on"}},
        {"Type", {"3", "-1", "1.0", " 1", ""}},
        {"capture_monitor", {"2", "-2", "0x1", "+1"}},
        {"capture_monitor_state", {"2", "-2", "region"}},
        {"capture_monitor_region", {"0,0,99", "0,0,99,99,", "0, 0,99,99", "+1,0,99,99", "10,0,5,99", "0,0,2147483648,9"}},
    };
    for (const auto& [name, values] : refused) {
        for (const std::string& value : values) {
            const std::string problem = Problem({{name, value}});
            EXPECT_EQ(problem.rfind("\"" + name + "\"", 0), 0u) << name << "=" << value << ": " << problem;
        }
    }
    EXPECT_EQ(Problem({{"Type", "5"}}), "\"Type\" 5 is not a capture type the plug-in lists (0, 1, 2)");
    EXPECT_EQ(Problem({{"capture_monitor", "0"}}, {{0, 1, 2}, {}}),
              "\"capture_monitor\" 0 is not -1 or a display the plug-in lists (none)");
    EXPECT_EQ(Problem({{"Type", "0"}}, {{}, kChoices.displays}),
              "\"Type\" 0 is not a capture type the plug-in lists (none)");

    const std::string unknown = Problem({{"cursor", "true"}, {"Capture_Monitor", "0"}});
    EXPECT_EQ(unknown.rfind("unknown parameter \"Capture_Monitor\"; the settings are Type, cursor,", 0), 0) << unknown;
}

TEST(SettingsCheck, RegionLiesInsideTheDisplayNamed) {
    EXPECT_EQ(Problem({{"capture_monitor", "1"}, {"capture_monitor_region", "0,0,1279,1023"}}), "");
    EXPECT_EQ(Problem({{"capture_monitor_region", "0,0,1900,1000"}, {"capture_monitor", "0"}}), "")
        << "display 0 is wider, whatever the order";
    EXPECT_EQ(Problem({{"capture_monitor", "1"}, {"capture_monitor_region", "0,0,1279,1024"}}),
              "\"capture_monitor_region\": region 0,0,1279,1024 extends past display 1 (1280 x 1024 points)");
    // The plug-in takes the last of a repeated parameter.
    EXPECT_NE(
        Problem({{"capture_monitor", "0"}, {"capture_monitor_region", "1500,0,1600,10"}, {"capture_monitor", "1"}}),
        "");
    EXPECT_EQ(Problem({{"capture_monitor", "1"}, {"capture_monitor_region", "1500,0,1600,10"},
                       {"capture_monitor_region", "0,0,9,9"}}),
              "");
    // Without a display named there is none to check against.
    EXPECT_EQ(Problem({{"capture_monitor_region", "5000,0,5100,100"}}), "");
    EXPECT_EQ(Problem({{"capture_monitor", "-1"}, {"capture_monitor_region", "5000,0,5100,100"}}), "");
}

TEST(SettingsCheck, ReadsTheCaptureTypesListed) {
    EXPECT_EQ(SettingsChoices::ParseTypes(R"(<?xml version="1.0" encoding="UTF-8"?>
<source>
  <parameter name="capture_video" />
  <parameter name="Type">
    <option value="0" />
    <option value="1" />
    <option value="two" />
    <option value="2" />
  </parameter>
  <parameter name="cursor" />
</source>
)"),
              (std::vector<int32_t>{0, 1, 2}));
    EXPECT_TRUE(SettingsChoices::ParseTypes("<source><parameter name=\"capture_video\"/></source>").empty());
    EXPECT_TRUE(SettingsChoices::ParseTypes("").empty());
    EXPECT_TRUE(SettingsChoices::ParseTypes("<source><parameter name=\"Type\">").empty());
}
