#pragma once
#include <cstdint>

namespace MC {

// One call site's burst counter. Its clock reading is the signed time from
// the record's creation to now, in seconds: negative, growing in magnitude.
class LogCount {
public:
    LogCount();

    // Counts one message and returns the count before it; the count restarts
    // at 0 when more than five seconds passed since the previous message.
    int32_t logCount();
    void setLogCount(int32_t count) { fLogCount = count; }

private:
    double Reading() const;

    int32_t fLogCount = 0;
    double fLastLogTime = 0.0;
    int64_t fCreatedMicros;
};

} // namespace MC
