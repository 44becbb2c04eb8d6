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

TEST_F(Messages, TraceFormatsAtNoteLevel) {
    zTrace("Device {} has {} channels, running {}", std::string("Speakers"), 2u, true);
    ASSERT_EQ(zTraceManager::Default().History().size(), 1u);
    EXPECT_EQ(LastTrace().code, kNote);
    EXPECT_EQ(LastTrace().text, "Device Speakers has 2 channels, running true");
}

TEST_F(Messages, UserLogAddsAtLevelZeroAndErrorsAtLevelOne) {
    const char* reason = "busy";
    zUserLog("System Audio Capture: {} started", std::string("driver"));
    zUserLogError("System Audio Capture: Failed to start {}. {} ({})", std::string("engine"), reason, -50);

    const auto entries = zUserLogHistory::Default()->Entries();
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0].level, 0);
    EXPECT_EQ(entries[0].text, "System Audio Capture: driver started");
    EXPECT_EQ(entries[1].level, 1);
    EXPECT_EQ(entries[1].text, "System Audio Capture: Failed to start engine. busy (-50)");
}

TEST_F(Messages, MismatchedArgumentsEmitTheAssertText) {
    const std::string error = MissingArgumentError();
    ASSERT_FALSE(error.empty());

    zTrace("{} {}", 1);
    EXPECT_EQ(LastTrace().code, kNote);
    EXPECT_EQ(LastTrace().text, "zTrace '" + error + "'\n");

    zUserLog("{} {}", 1);
    EXPECT_EQ(LastUserLog().level, 0);
    EXPECT_EQ(LastUserLog().text, "zUserLog Assert '" + error + "'\n");

    zUserLogError("{} {}", 1);
    EXPECT_EQ(LastUserLog().level, 1);
    EXPECT_EQ(LastUserLog().text, "zUserLog Assert '" + error + "'\n");
}

TEST_F(Messages, AnyRuntimeErrorWhileFormattingIsDescribed) {
    zTrace("{}", Throwing{true});
    EXPECT_EQ(LastTrace().text, "zTrace 'formatter failed'\n");
    zUserLogError("{}", Throwing{true});
    EXPECT_EQ(LastUserLog().text, "zUserLog Assert 'formatter failed'\n");
}

TEST_F(Messages, OtherExceptionsEmitTheUnknownAssertionText) {
    zTrace("{}", Throwing{false});
    EXPECT_EQ(LastTrace().code, kNote);
    EXPECT_EQ(LastTrace().text, "zTrace Unknown Assertion\n");
    zUserLog("{}", Throwing{false});
    EXPECT_EQ(LastUserLog().level, 0);
    EXPECT_EQ(LastUserLog().text, "zUserLog Unknown Assertion\n");
    zUserLogError("{}", Throwing{false});
    EXPECT_EQ(LastUserLog().level, 1);
    EXPECT_EQ(LastUserLog().text, "zUserLog Unknown Assertion\n");
}

} // namespace
