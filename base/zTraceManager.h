#pragma once
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

// Developer trace. Keeps the most recent messages in memory (tests read them)
// and echoes them as zLogOutput says.
class zTraceManager {
public:
    struct Entry {
        uint32_t code;
        std::string text;
    };
    static constexpr size_t kHistoryLimit = 512;

    static zTraceManager& Default();

    void TraceMessage(uint32_t code, const std::string& text);
    std::vector<Entry> History() const;
    void ClearHistory();

private:
    mutable std::mutex fMutex;
    std::deque<Entry> fHistory;
};
