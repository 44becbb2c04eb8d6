#include "zUserLogHistory.h"

#include "zLogOutput.h"

std::shared_ptr<zUserLogHistory> zUserLogHistory::Default() {
    static const auto history = std::make_shared<zUserLogHistory>();
    return history;
}

void zUserLogHistory::Add(int level, std::string text) {
    zLogOutput::Write(level == 0 ? "user" : "user error", text);
    fEntries.Add({level, std::move(text)});
}

std::vector<zUserLogHistory::Entry> zUserLogHistory::Entries() const { return fEntries.Entries(); }

void zUserLogHistory::Clear() { fEntries.Clear(); }
