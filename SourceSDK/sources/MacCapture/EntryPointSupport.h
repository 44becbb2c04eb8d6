#pragma once
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "QCP_API.h"
#include "zTraceManager.h"

// Small helpers every exported function uses: device dispatch, C strings to
// registry keys, the size-query-then-fill convention, and the rule that no
// C++ exception crosses the C interface.
namespace qcp {

inline bool IsAudioDevice(const char* deviceId) {
    return deviceId && std::strcmp(deviceId, QCP_AUDIO_DEVICE_ID) == 0;
}

inline std::string Key(const char* text) { return text ? std::string(text) : std::string(); }

// A null buffer with a length pointer reports the length without the NUL; a
// buffer receives the text and its NUL and the length is left alone. On the
// fill a length, when given, is the host's earlier answer: another thread may
// have changed the text since, so no more than that is written (plus the NUL).
inline void CopyOut(std::string_view text, char* buffer, uint32_t* length) {
    if (buffer) {
        const size_t size = length ? std::min<size_t>(text.size(), *length) : text.size();
        std::memcpy(buffer, text.data(), size);
        buffer[size] = '\0';
    } else if (length) {
        *length = uint32_t(text.size());
    }
}

// Traces the exception in flight; called from a catch block.
void TraceEntryPointFailure(const char* function) noexcept;

template <class Result, class Body>
Result Guarded(const char* function, Result fallback, Body&& body) noexcept {
    try {
        return body();
    } catch (...) {
        TraceEntryPointFailure(function);
        return fallback;
    }
}

template <class Body>
void Guarded(const char* function, Body&& body) noexcept {
    try {
        body();
    } catch (...) {
        TraceEntryPointFailure(function);
    }
}

} // namespace qcp
