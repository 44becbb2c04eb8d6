#pragma once
#include <charconv>
#include <string_view>

namespace qcphost {

// Reads `text` as one number of `value`'s type: the whole text must be it
// ("1.5" is no count, "2x" no duration, "" nothing).
template <class Number>
bool ReadWholeNumber(std::string_view text, Number& value) {
    const char* end = text.data() + text.size();
    const auto [stop, problem] = std::from_chars(text.data(), end, value);
    return !text.empty() && problem == std::errc() && stop == end;
}

} // namespace qcphost
