#pragma once
#include <cstdint>
#include <string>
#include <vector>

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

} // namespace qcphost
