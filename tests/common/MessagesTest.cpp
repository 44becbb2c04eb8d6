#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "zMessages.h"

namespace {

// An argument whose formatting throws what it is told to.
struct Throwing {
    bool runtimeError;
};

} // namespace

template <>
struct fmt::formatter<Throwing> : fmt::formatter<int> {
    auto format(const Throwing& value, fmt::format_context& context) const -> decltype(context.out()) {
        if (value.runtimeError) throw std::runtime_error("formatter failed");
        throw 42;
    }
};

namespace {

constexpr uint32_t kNote = 0x6E6F7465; // 'n' 'o' 't' 'e'

// fmt's own description of a template that asks for more arguments than given.
std::string MissingArgumentError() {
    try {
        (void)fmt::vformat("{} {}", fmt::make_format_args(1));
    } catch (const fmt::format_error& error) {
        return error.what();
    }
    return {};
}

class Messages : public testing::Test {
protected:
    void SetUp() override {
        zTraceManager::Default().ClearHistory();
        zUserLogHistory::Default()->Clear();
    }
    static zTraceManager::Entry LastTrace() {
        const auto history = zTraceManager::Default().History();
        return history.empty() ? zTraceManager::Entry{0, "<none>"} : history.back();
    }
    static zUserLogHistory::Entry LastUserLog() {
        const auto entries = zUserLogHistory::Default()->Entries();
        return entries.empty() ? zUserLogHistory::Entry{-1, "<none>"} : entries.back();
    }
};

TEST_F(Messages, TraceIsAtNoteLevelAndUserLogAtLevelsZeroAndOne) {
    zTrace("Device {} has {} channels, running {}", std::string("Speakers"), 2u, true);
    EXPECT_EQ(LastTrace().code, kNote);
    EXPECT_EQ(LastTrace().text, "Device Speakers has 2 channels, running true");
    zUserLog("System Audio Capture: {} started", std::string("driver"));
    EXPECT_EQ(LastUserLog().level, 0);
    EXPECT_EQ(LastUserLog().text, "System Audio Capture: driver started");
    zUserLogError("System Audio Capture: Failed to start {}. {} ({})", std::string("engine"), "busy", -50);
    EXPECT_EQ(LastUserLog().level, 1);
    EXPECT_EQ(LastUserLog().text, "System Audio Capture: Failed to start engine. busy (-50)");
}

TEST_F(Messages, AFormattingFaultEmitsItsAssertText) {
    const std::string mismatch = MissingArgumentError();
    ASSERT_FALSE(mismatch.empty());
    const std::string details[] = {"'" + mismatch + "'\n", "'formatter failed'\n", "Unknown Assertion\n"};

    zTrace("{} {}", 1);
    EXPECT_EQ(LastTrace().text, "zTrace " + details[0]);
    zTrace("{}", Throwing{true});
    EXPECT_EQ(LastTrace().text, "zTrace " + details[1]);
    zTrace("{}", Throwing{false});
    EXPECT_EQ(LastTrace().text, "zTrace " + details[2]);
    EXPECT_EQ(LastTrace().code, kNote);

    for (int level : {0, 1}) {
        auto log = [level](const char* format, const auto&... args) {
            if (level == 0) zUserLog(format, args...);
            else zUserLogError(format, args...);
        };
        log("{} {}", 1);
        EXPECT_EQ(LastUserLog().text, "zUserLog Assert " + details[0]) << level;
        log("{}", Throwing{true});
        EXPECT_EQ(LastUserLog().text, "zUserLog Assert " + details[1]) << level;
        log("{}", Throwing{false});
        EXPECT_EQ(LastUserLog().text, "zUserLog " + details[2]) << level;
        EXPECT_EQ(LastUserLog().level, level);
    }
}

} // namespace
