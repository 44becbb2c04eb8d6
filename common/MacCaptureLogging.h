#pragma once
#include <string>

#include "QCP_API.h"

// The host's log: printf-style messages tagged with their call site and
// thinned per call site, so a fault repeated per frame or per audio packet
// cannot flood the host.
namespace MC {

using LogCallback = QCP_LogCallback;

// The burst limits the host interface installs: per call site, the first
// kLogBurstFloor messages of a burst go out in full, then one in
// (kLogBurstCeiling - kLogBurstFloor + 2) with a summary prefix.
constexpr int kLogBurstCeiling = 400;
constexpr int kLogBurstFloor = 100;

void initializeMacCaptureLogging();
// Removes the sink, then the lock.
void shutdownMacCaptureLogging();

// Installs the sink when both callback and context are given, removes it
// otherwise; either way every call site's count starts afresh.
void setLog(LogCallback callback, void* context, int max, int min);

// Logs one message from a call site. Messages longer than 511 bytes are cut.
void _aux_log(int level, int line, const char* file, const char* format, ...) __attribute__((format(printf, 4, 5)));

// Forwards ready-made text at levels -1 and -2 only: no lock, no thinning,
// nothing at all while no sink is installed.
void UserLog(int level, const std::string& text);

} // namespace MC

#define MC_LOG(level, ...) MC::_aux_log((level), __LINE__, __FILE__, __VA_ARGS__)
