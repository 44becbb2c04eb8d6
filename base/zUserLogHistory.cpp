#include "zUserLogHistory.h"

#include "zLogOutput.h"

std::shared_ptr<zUserLogHistory> zUserLogHistory::Default() {
    static const auto history = std::make_shared<zUserLogHistory>();
    return history;
}

void zUserLogHistory::Add(int level, std::string text) {
    zLogOutput::Write(level == 0 ? "user" : "user error", text);
    std::lock_guard lock(fMutex);
    if (fEntries.size() == kHistoryLimit) fEntries.pop_front();
    fEntries.push_back({level, std::move(text)});
}

std::vector<zUserLogHistory::Entry> zUserLogHistory::Entries() const {
    std::lock_guard lock(fMutex);
    return {fEntries.begin(), fEntries.end()};
}

void zUserLogHistory::Clear() {
    std::lock_guard lock(fMutex);
    fEntries.clear();
}
