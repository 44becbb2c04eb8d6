#pragma once
#include <cstddef>
#include <deque>
#include <mutex>
#include <vector>

// The most recent entries of a log, thread-safe; the oldest goes first.
template <class Entry, size_t kLimit>
class zBoundedHistory {
public:
    void Add(Entry entry) {
        std::lock_guard lock(fMutex);
        if (fEntries.size() == kLimit) fEntries.pop_front();
        fEntries.push_back(std::move(entry));
    }
    std::vector<Entry> Entries() const {
        std::lock_guard lock(fMutex);
        return {fEntries.begin(), fEntries.end()};
    }
    void Clear() {
        std::lock_guard lock(fMutex);
        fEntries.clear();
    }

private:
    mutable std::mutex fMutex;
    std::deque<Entry> fEntries;
};
