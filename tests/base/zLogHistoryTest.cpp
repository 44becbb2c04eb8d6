#include <gtest/gtest.h>

#include "zTraceManager.h"
#include "zUserLogHistory.h"

TEST(zTraceManager, KeepsTheMostRecentMessagesInOrder) {
    constexpr uint32_t kNote = 0x6E6F7465, kWarn = 0x7761726E; // 'note', 'warn'
    zTraceManager& trace = zTraceManager::Default();
    trace.ClearHistory();
    const size_t total = zTraceManager::kHistoryLimit + 10;
    for (size_t i = 0; i < total; ++i) trace.TraceMessage(kNote, "message " + std::to_string(i));
    trace.TraceMessage(kWarn, "last");

    const auto history = trace.History();
    ASSERT_EQ(history.size(), zTraceManager::kHistoryLimit);
    EXPECT_EQ(history.front().text, "message 11"); // the oldest eleven were dropped
    EXPECT_EQ(history.front().code, kNote);
    EXPECT_EQ(history[history.size() - 2].text, "message " + std::to_string(total - 1));
    EXPECT_EQ(history.back().code, kWarn);
    EXPECT_EQ(history.back().text, "last");
    trace.ClearHistory();
}

TEST(zUserLogHistory, KeepsTheMostRecentEntriesWithTheirLevels) {
    auto log = zUserLogHistory::Default();
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
}
