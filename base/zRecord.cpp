#include "zRecord.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <utility>

namespace {
template <typename Integer>
std::optional<Integer> ParseInteger(std::string_view text) {
    Integer value{};
    const char* end = text.data() + text.size();
    // from_chars takes no leading spaces or '+', refuses '-' for unsigned types
    // and reports out-of-range values; all that is left is to insist that the
    // number is the whole text.
    auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end) return std::nullopt;
    return value;
}

bool EqualsLowered(std::string_view text, std::string_view lower) {
    return std::ranges::equal(text, lower, [](char a, char b) { return (a >= 'A' && a <= 'Z' ? a + 32 : a) == b; });
}

std::optional<bool> ParseBool(std::string_view text) {
    if (EqualsLowered(text, "true") || EqualsLowered(text, "yes") || text == "1") return true;
    if (EqualsLowered(text, "false") || EqualsLowered(text, "no") || text == "0") return false;
    return std::nullopt;
}

std::optional<zRect> ParseRect(std::string_view text) {
    int32_t edges[4];
    for (int i = 0; i < 4; ++i) {
        const size_t comma = i < 3 ? text.find(',') : text.size();
        if (comma == std::string_view::npos) return std::nullopt;
        auto edge = ParseInteger<int32_t>(text.substr(0, comma));
        if (!edge) return std::nullopt;
        edges[i] = *edge;
        text.remove_prefix(i < 3 ? comma + 1 : comma);
    }
    return zRect{edges[0], edges[1], edges[2], edges[3]};
}

template <typename Value, typename Parser>
Value Read(const std::string* text, Value defaultValue, Parser parse) {
    if (!text) return defaultValue;
    return parse(*text).value_or(std::move(defaultValue));
}
} // namespace

const std::string* zRecord::Find(std::string_view name) const {
    auto field = std::ranges::find(fFields, name, &Field::name);
    return field == fFields.end() ? nullptr : &field->value;
}

bool zRecord::AsBool(std::string_view name, bool defaultValue) const {
    return Read(Find(name), defaultValue, ParseBool);
}

int32_t zRecord::AsInt32(std::string_view name, int32_t defaultValue) const {
    return Read(Find(name), defaultValue, ParseInteger<int32_t>);
}

uint32_t zRecord::AsUInt32(std::string_view name, uint32_t defaultValue) const {
    return Read(Find(name), defaultValue, ParseInteger<uint32_t>);
}

std::string zRecord::AsText(std::string_view name, std::string defaultValue) const {
    const std::string* text = Find(name);
    return text ? *text : defaultValue;
}

zRect zRecord::AsRect(std::string_view name, zRect defaultValue) const {
    return Read(Find(name), defaultValue, ParseRect);
}

void zRecord::SetBool(std::string_view name, bool value) { SetText(name, value ? "true" : "false"); }

void zRecord::SetInt32(std::string_view name, int32_t value) { SetText(name, std::to_string(value)); }

void zRecord::SetUInt32(std::string_view name, uint32_t value) { SetText(name, std::to_string(value)); }

void zRecord::SetText(std::string_view name, std::string value) {
    auto field = std::ranges::find(fFields, name, &Field::name);
    if (field != fFields.end())
        field->value = std::move(value);
    else
        fFields.push_back({std::string(name), std::move(value)});
}

void zRecord::SetRect(std::string_view name, const zRect& value) {
    SetText(name, std::to_string(value.left) + ',' + std::to_string(value.top) + ',' + std::to_string(value.right) +
                      ',' + std::to_string(value.bottom));
}

zRecord& zRecord::AddChild(std::string name) { return fChildren.emplace_back(std::move(name)); }

const zRecord* zRecord::FindChild(std::string_view name) const {
    auto child = std::ranges::find(fChildren, name, &zRecord::fName);
    return child == fChildren.end() ? nullptr : &*child;
}

zRecord* zRecord::FindChild(std::string_view name) {
    return const_cast<zRecord*>(std::as_const(*this).FindChild(name));
}
