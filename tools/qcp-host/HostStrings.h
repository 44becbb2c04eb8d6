#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "PluginLibrary.h"

namespace qcphost {

// Reads a string through the plug-in's size-query-then-fill convention:
// `call(buffer, length)` is made once with a null buffer, then with room for
// the text and its NUL.
template <class Call>
std::string QueryString(Call&& call) {
    uint32_t length = 0;
    call(nullptr, &length);
    std::vector<char> text(size_t(length) + 1, '\0');
    call(text.data(), &length);
    return text.data();
}

// A screen-device property the plug-in answers with a text; none when it
// does not answer.
inline std::optional<std::string> ReadTextProperty(PluginLibrary& plugin, const char* property) {
    std::string text;
    const auto answer = [](void* context, QCP_PropertyType type, void* value) {
        if (type == QCP_PROPERTY_TEXT) *static_cast<std::string*>(context) = static_cast<const char*>(value);
    };
    if (!plugin.QCP_GetProperty(&text, answer, property, QCP_SCREEN_DEVICE_ID, nullptr)) return std::nullopt;
    return text;
}

} // namespace qcphost
