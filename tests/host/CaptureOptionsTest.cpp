#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "CaptureOptions.h"

using qcphost::CaptureOptions;

namespace {

std::string Rejection(const std::vector<std::string>& args) {
    CaptureOptions options;
    std::string error;
    return CaptureOptions::Parse(args, options, error) ? "<accepted>" : error;
}

CaptureOptions Parsed(const std::vector<std::string>& args) {
    CaptureOptions options;
    std::string error;
    EXPECT_TRUE(CaptureOptions::Parse(args, options, error)) << error;
    return options;
}

} // namespace

TEST(CaptureOptions, RejectsMalformedValues) {
    const std::vector<std::vector<std::string>> bad = {
        {"--display", "-1"},         {"--display", "1.5"},        {"--display", "2x"},
        {"--display", ""},           {"--display", "99999999999"}, {"--region", "0,0,99"},
        {"--region", "0,0,99,99,"},  {"--region", "0, 0,99,99"},  {"--region", "10,0,9,99"},
        {"--region", "0,10,99,9"},   {"--region", "+1,0,99,99"},  {"--cursor", "yes"},
        {"--duration", "0"},         {"--duration", "-2"},        {"--duration", "nan"},
        {"--duration", "inf"},       {"--duration", "3s"},        {"--frames", "0"},
        {"--frames", "2.5"},         {"--frames", "-3"},          {"--png-interval", "-1"},
        {"--window", "Ideas"},       {"--app", "Notes"},          {"--colour", "red"},
        {"--display", "0.7"},        {"--duration", "-1"},        {"--region", "0,0,-1,-1"},
        {"--display"},
    };
    for (const auto& args : bad) {
        const std::string error = Rejection(args);
        EXPECT_NE(error, "<accepted>") << testing::PrintToString(args);
        EXPECT_NE(error.find(args[0]), std::string::npos) << "the reason names the option: " << error;
    }
}

TEST(CaptureOptions, ReadsEveryOption) {
    const CaptureOptions options =
        Parsed({"--display", "1", "--region", "-10,0,639,479", "--cursor", "off", "--duration", "0.5", "--frames",
                "12", "--output", "out dir", "--png-interval", "0", "--no-video"});
    EXPECT_EQ(options.display, 1);
    EXPECT_EQ(options.region, "-10,0,639,479");
    EXPECT_FALSE(options.cursor);
    EXPECT_EQ(options.seconds, 0.5);
    EXPECT_EQ(options.frames, 12u);
    EXPECT_EQ(options.output, "out dir");
    EXPECT_EQ(options.pngInterval, 0.0);
    EXPECT_FALSE(options.video);

    const CaptureOptions game = Parsed({"--window", "Racer", "--app", "Racer", "--game"});
    EXPECT_TRUE(game.game);
    EXPECT_EQ(game.window, "Racer");
}

TEST(CaptureOptions, SettingsAimAtWhatWasAsked) {
    using Parameters = std::vector<std::pair<std::string, std::string>>;
    EXPECT_EQ(Parsed({"--display", "1", "--cursor", "off"}).Settings().parameters(),
              (Parameters{{"cursor", "false"}, {"Type", "0"}, {"capture_monitor", "1"}}));
    EXPECT_EQ(Parsed({"--region", "100,50,739,529"}).Settings().parameters(),
              (Parameters{{"cursor", "true"},
                          {"Type", "0"},
                          {"capture_monitor", "0"},
                          {"capture_monitor_region", "100,50,739,529"},
                          {"capture_monitor_state", "1"}}));
    EXPECT_EQ(Parsed({"--window", "Q&A", "--app", "Notes"}).Settings().parameters(),
              (Parameters{{"cursor", "true"}, {"Type", "1"}, {"capture_window", "Q&A"}, {"capture_app", "Notes"}}));
    EXPECT_EQ(Parsed({"--window", "Racer", "--app", "Racer", "--game"}).Settings().Value("Type"), "2");
}
