#include "zTraceManager.h"

#include "zLogOutput.h"

zTraceManager& zTraceManager::Default() {
    static zTraceManager manager;
    return manager;
}

void zTraceManager::TraceMessage(uint32_t code, const std::string& text) {
    const char channel[] = {char(code >> 24), char(code >> 16), char(code >> 8), char(code)};
    zLogOutput::Write({channel, sizeof channel}, text);
    std::lock_guard lock(fMutex);
    if (fHistory.size() == kHistoryLimit) fHistory.pop_front();
    fHistory.push_back({code, text});
}

std::vector<zTraceManager::Entry> zTraceManager::History() const {
    std::lock_guard lock(fMutex);
    return {fHistory.begin(), fHistory.end()};
}

void zTraceManager::ClearHistory() {
    std::lock_guard lock(fMutex);
    fHistory.clear();
}
