#include "zTraceManager.h"

#include "zLogOutput.h"

zTraceManager& zTraceManager::Default() {
    static zTraceManager manager;
    return manager;
}

void zTraceManager::TraceMessage(uint32_t code, const std::string& text) {
    const char channel[] = {char(code >> 24), char(code >> 16), char(code >> 8), char(code)};
    zLogOutput::Write({channel, sizeof channel}, text);
    fHistory.Add({code, text});
}

std::vector<zTraceManager::Entry> zTraceManager::History() const { return fHistory.Entries(); }

void zTraceManager::ClearHistory() { fHistory.Clear(); }
