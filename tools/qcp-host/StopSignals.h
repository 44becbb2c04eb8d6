#pragma once
#include <chrono>

namespace qcphost {

// Ctrl-C (SIGINT) and SIGTERM while a capture runs: the first one asks the
// capture to end early and still write its files; a second one ends the
// host at once, as it would without this. Made and destroyed by the capture
// command's thread, one at a time; the handlers are restored on destruction.
class StopSignals {
public:
    StopSignals();
    ~StopSignals();
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

    // The signal that asked to stop, or 0.
    int received() const;
    // Waits until a signal comes (or came already) or `limit` passes; true
    // when one came.
    bool WaitFor(std::chrono::milliseconds limit) const;
    // "SIGINT" or "SIGTERM"; empty while none came.
    const char* name() const;
};

} // namespace qcphost
