#pragma once
#include <memory>
#include <string>
#include <vector>

#include "zBoundedHistory.h"

// The user-facing log: messages a user may read (level 0 information,
// level 1 error). Keeps a bounded history and echoes it as zLogOutput says.
class zUserLogHistory {
public:
    struct Entry {
        int level;
        std::string text;
    };
    static constexpr size_t kHistoryLimit = 512;

    static std::shared_ptr<zUserLogHistory> Default();

    // The template to format for a message template. Messages are English
    // sentences; no conversion is needed, so the template stands as given.
    const std::string& Convert(const std::string& messageTemplate) const { return messageTemplate; }
    void Add(int level, std::string text);
    std::vector<Entry> Entries() const;
    void Clear();

private:
    zBoundedHistory<Entry, kHistoryLimit> fEntries;
};
