#include <gtest/gtest.h>

#include "zTraceManager.h"
#include "zUserLogHistory.h"

namespace {
constexpr uint32_t FourCC(const char (&code)[5]) {
    return uint32_t(uint8_t(code[0])) << 24 | uint32_t(uint8_t(code[1])) << 16 | uint32_t(uint8_t(code[2])) << 8 |
           uint8_t(code[3]);
}
} // namespace

TEST(zTraceManager, KeepsTheMostRecentMessagesInOrder) {
    zTraceManager& trace = zTraceManager::Default();
    trace.ClearHistory();
    const size_t total = zTraceManager::kHistoryLimit + 10;
    for (size_t i = 0; i < total; ++i) trace.TraceMessage(FourCC("note"), "message " + std::to_string(i));
    trace.TraceMessage(FourCC("warn"), "last");

    const auto history = trace.History();
    ASSERT_EQ(history.size(), zTraceManager::kHistoryLimit);
    EXPECT_EQ(history.front().text, "message 11"); // the oldest eleven were dropped
    EXPECT_EQ(history.front().code, FourCC("note"));
    EXPECT_EQ(history[history.size() - 2].text, "message " + std::to_string(total - 1));
    EXPECT_EQ(history.back().code, FourCC("warn"));
    EXPECT_EQ(history.back().text, "last");

    trace.ClearHistory();
    EXPECT_TRUE(trace.History().empty());
}

TEST(zUserLogHistory, KeepsTheMostRecentEntriesWithTheirLevels) {
    auto log = zUserLogHistory::Default();
    ASSERT_EQ(log, zUserLogHistory::Default());
    log->Clear();
    const size_t total = zUserLogHistory::kHistoryLimit * 2 + 1;
    for (size_t i = 0; i < total; ++i) log->Add(int(i % 2), "entry " + std::to_string(i));

    const auto entries = log->Entries();
    ASSERT_EQ(entries.size(), zUserLogHistory::kHistoryLimit);
    const size_t firstKept = total - zUserLogHistory::kHistoryLimit;
    for (size_t i = 0; i < entries.size(); ++i) {
        ASSERT_EQ(entries[i].text, "entry " + std::to_string(firstKept + i));
        ASSERT_EQ(entries[i].level, int((firstKept + i) % 2));
    }
    log->Clear();
    EXPECT_TRUE(log->Entries().empty());
}

TEST(zUserLogHistory, ConvertKeepsTheTemplateAsGiven) {
    const std::string message = "System Audio Capture: Failed to start {}. ";
    EXPECT_EQ(zUserLogHistory::Default()->Convert(message), message);
}
