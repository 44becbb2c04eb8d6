#include "zXML.h"

#include <algorithm>
#include <new>
#include <pugixml.hpp>

namespace {
bool IsNameStart(unsigned char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || c == ':' || c >= 0x80;
}

bool IsNameChar(unsigned char c) { return IsNameStart(c) || (c >= '0' && c <= '9') || c == '-' || c == '.'; }

// The XML Name production, with every non-ASCII byte allowed: UTF-8 names pass
// and nothing that would break the markup does.
bool IsXMLName(std::string_view name) {
    return !name.empty() && IsNameStart(name.front()) && std::ranges::all_of(name.substr(1), IsNameChar);
}

// pugixml escapes markup and control characters in attribute values, but a
// NUL byte cannot be written in XML at all.
bool IsWritableValue(std::string_view value) { return value.find('\0') == std::string_view::npos; }

bool AppendElement(const zRecord& record, size_t depth, pugi::xml_node parent) {
    if (depth > zXML::kMaxDepth || !IsXMLName(record.Name())) return false;
    pugi::xml_node element = parent.append_child(record.Name().c_str());
    if (!element) return false;
    for (const auto& field : record.Fields()) {
        if (!IsXMLName(field.name) || !IsWritableValue(field.value)) return false;
        if (!element.append_attribute(field.name.c_str()).set_value(field.value.c_str())) return false;
    }
    for (const zRecord& child : record.Children())
        if (!AppendElement(child, depth + 1, element)) return false;
    return true;
}

struct BufferWriter final : pugi::xml_writer {
    explicit BufferWriter(zBuffer& buffer) : buffer(buffer) {}
    void write(const void* data, size_t size) override { buffer.Append(data, size); }
    zBuffer& buffer;
};
} // namespace

bool zXML::ParseBuffer(std::string_view text, zRecord& out) {
    // pugixml would stop at a NUL and report the text before it as the whole
    // document; XML has no place for one, so such text is malformed.
    if (text.empty() || text.find('\0') != std::string_view::npos) return false;
    try {
        pugi::xml_document document;
        // As a fragment, text beside the root element is kept instead of
        // dropped, so that it can be refused along with extra roots.
        const unsigned options = pugi::parse_default | pugi::parse_fragment;
        if (!document.load_buffer(text.data(), text.size(), options, pugi::encoding_utf8)) return false;
        pugi::xml_node root;
        for (pugi::xml_node node : document.children()) {
            if (node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata) return false;
            if (node.type() != pugi::node_element) continue;
            if (root) return false;
            root = node;
        }
        zRecord record;
        if (!root || !ReadElement(root, 1, record)) return false;
        out = std::move(record);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool zXML::ReadElement(const pugi::xml_node& element, size_t depth, zRecord& out) {
    if (depth > kMaxDepth) return false;
    out.fName = element.name();
    for (pugi::xml_attribute attribute : element.attributes()) out.fFields.push_back({attribute.name(), attribute.value()});
    if (out.fFields.size() > 1) {
        std::vector<std::string_view> names(out.fFields.size());
        std::ranges::transform(out.fFields, names.begin(), [](const zRecord::Field& field) -> std::string_view {
            return field.name;
        });
        std::ranges::sort(names);
        if (std::ranges::adjacent_find(names) != names.end()) return false;
    }
    for (pugi::xml_node child : element.children()) {
        if (child.type() == pugi::node_element && !ReadElement(child, depth + 1, out.AddChild({}))) return false;
    }
    return true;
}

bool zXML::RecordToBuffer(const zRecord& record, zBuffer& out) {
    try {
        pugi::xml_document document;
        pugi::xml_node declaration = document.append_child(pugi::node_declaration);
        if (!declaration.append_attribute("version").set_value("1.0") ||
            !declaration.append_attribute("encoding").set_value("UTF-8") || !AppendElement(record, 1, document))
            return false;
        // Written aside first, so that a failure part-way leaves `out` as it was.
        zBuffer text;
        BufferWriter writer(text);
        document.save(writer, "  ", pugi::format_indent, pugi::encoding_utf8);
        out.Append(text.Data(), text.Size());
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}
