#pragma once
#include <fmt/format.h>

#include <cstdint>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>

#include "zTraceManager.h"
#include "zUserLogHistory.h"

// "{}" message templates for the developer trace and the user log. A template
// whose arguments do not fit it never throws: a fixed fault text stands in.
namespace zMessages {

constexpr uint32_t kTraceNote = 0x6E6F7465; // 'note'

// Formats `templ`; on a fault returns `faultTemplate` with the error's
// description, or `unknownFault`.
template <class... Args>
std::string Format(const std::string& templ, const char* faultTemplate, const char* unknownFault,
                   const Args&... args) {
    try {
        return fmt::vformat(templ, fmt::make_format_args(args...));
    } catch (const std::runtime_error& error) {
        return fmt::format(fmt::runtime(faultTemplate), error.what());
    } catch (...) {
        return unknownFault;
    }
}

template <class... Args>
void UserLogAt(int level, const std::string& templ, const Args&... args) noexcept {
    try {
        const std::shared_ptr<zUserLogHistory> history = zUserLogHistory::Default();
        if (!history) return;
        history->Add(level, Format(history->Convert(templ), "zUserLog Assert '{}'\n", "zUserLog Unknown Assertion\n",
                                   args...));
    } catch (...) {
        // Out of memory while logging: the message is lost, the caller is not.
    }
}

} // namespace zMessages

template <class... Args>
void zTrace(const std::string& templ, const Args&... args) noexcept {
    try {
        zTraceManager::Default().TraceMessage(
            zMessages::kTraceNote,
            zMessages::Format(templ, "zTrace '{}'\n", "zTrace Unknown Assertion\n", args...));
    } catch (...) {
    }
}

template <class... Args>
void zUserLog(const std::string& templ, const Args&... args) noexcept {
    zMessages::UserLogAt(0, templ, args...);
}

template <class... Args>
void zUserLogError(const std::string& templ, const Args&... args) noexcept {
    zMessages::UserLogAt(1, templ, args...);
}
