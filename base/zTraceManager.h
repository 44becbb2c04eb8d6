#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "zBoundedHistory.h"

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
    zBoundedHistory<Entry, kHistoryLimit> fHistory;
};
