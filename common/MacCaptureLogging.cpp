#include "MacCaptureLogging.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <unordered_map>

#include "LogCount.h"
#include "zCritical.h"

namespace MC {
namespace {
// The sink's state; every field but the lock itself is guarded by g_logMutex.
std::unique_ptr<zCritical> g_logMutex;
LogCallback _log = nullptr;
void* pLogContext = nullptr;
// Present only while a sink is installed.
std::unique_ptr<std::unordered_map<std::string, LogCount>> g_pLogTable;
int32_t g_maxLogCount = 0;
int32_t g_minLogCount = 0;
int32_t g_netLogCount = 0;

std::string LocationKey(const char* file, int line) {
    const char* slash = file ? std::strrchr(file, '/') : nullptr;
    const char* name = slash ? slash + 1 : (file ? file : "");
    return std::string(name) + ':' + std::to_string(unsigned(line));
}
} // namespace

void initializeMacCaptureLogging() {
    if (!g_logMutex) g_logMutex = zCritical::Factory();
}

void shutdownMacCaptureLogging() {
    if (!g_logMutex) return;
    setLog(nullptr, nullptr, 0, 0);
    g_logMutex.reset();
}

void setLog(LogCallback callback, void* context, int max, int min) {
    if (!g_logMutex) return;
    zLocker lock(*g_logMutex);
    g_pLogTable.reset();
    if (callback && context) {
        g_pLogTable = std::make_unique<std::unordered_map<std::string, LogCount>>();
        _log = callback;
        pLogContext = context;
        g_maxLogCount = max;
        g_minLogCount = min;
        g_netLogCount = max - min;
    } else {
        _log = nullptr;
        pLogContext = nullptr;
        g_maxLogCount = g_minLogCount = g_netLogCount = 0;
    }
}

void _aux_log(int level, int line, const char* file, const char* format, ...) {
    // Call sites keep messages short; a longer one is truncated to 511 bytes.
    char message[512];
    va_list args;
    va_start(args, format);
    std::vsnprintf(message, sizeof message, format, args);
    va_end(args);
    const std::string key = LocationKey(file, line);

    if (!g_logMutex) return; // before initialisation or after shutdown
    zLocker lock(*g_logMutex);
    if (!g_pLogTable) return;
    LogCount& record = (*g_pLogTable)[key];
    const int32_t count = record.logCount();
    if (count > g_maxLogCount) {
        record.setLogCount(g_minLogCount);
        const std::string summary = key + " x " + std::to_string(g_netLogCount);
        _log(pLogContext, level, "%s    %s", summary.c_str(), message);
    } else if (count < g_minLogCount) {
        _log(pLogContext, level, "%s    %s", key.c_str(), message);
    }
}

void UserLog(int level, const std::string& text) {
    // Levels -1 and -2 only, compared as the unsigned values 0xFFFFFFFF and 0xFFFFFFFE.
    if (unsigned(level) < 0xFFFFFFFEu || !_log) return;
    // The text goes out as it is; "%s" keeps a '%' in it from being read as
    // a conversion by the host's formatter.
    _log(pLogContext, level, "%s", text.c_str());
}

} // namespace MC
