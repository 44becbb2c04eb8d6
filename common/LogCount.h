#pragma once
#include <cstdint>

namespace MC {

// One call site's burst counter. Its clock reading is the signed time from the
// record's creation to now, in seconds: negative and growing in magnitude.
class LogCount {
public:
    LogCount();

    // Counts one message and returns the count before it. The count restarts
    // at 0 when more than five seconds passed since the previous message here.
    int32_t logCount();
    void setLogCount(int32_t count) { _logCount = count; }

private:
    double Reading() const;

    int32_t _logCount = 0;
    double _lastLogTime = 0.0;
    int64_t _pDate; // creation moment, zTime microseconds
};

} // namespace MC
