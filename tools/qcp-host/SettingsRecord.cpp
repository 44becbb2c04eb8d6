#include "SettingsRecord.h"

#include <set>
#include <sstream>
#include <string_view>

#include <pugixml.hpp>

namespace qcphost {
namespace {

bool RepeatsAttribute(const pugi::xml_node element) {
    std::set<std::string_view> names;
    for (const pugi::xml_attribute attribute : element.attributes())
        if (!names.insert(attribute.name()).second) return true;
    for (const pugi::xml_node child : element.children())
        if (child.type() == pugi::node_element && RepeatsAttribute(child)) return true;
    return false;
}

// The one root element, or null when there are several or text beside it,
// which the plug-in refuses although the XML library reads them.
pugi::xml_node SoleRoot(const pugi::xml_document& document) {
    pugi::xml_node root;
    for (const pugi::xml_node node : document.children()) {
        if (node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata) return {};
        if (node.type() != pugi::node_element) continue;
        if (root) return {};
        root = node;
    }
    return root;
}

} // namespace

void SettingsRecord::Add(const std::string& name, const std::string& value) { fParameters.emplace_back(name, value); }

std::optional<std::string> SettingsRecord::Value(const std::string& name) const {
    for (const auto& [key, value] : fParameters)
        if (key == name) return value;
    return std::nullopt;
}

std::string SettingsRecord::ToXml() const {
    pugi::xml_document document;
    pugi::xml_node settings = document.append_child("settings");
    for (const auto& [name, value] : fParameters) {
        pugi::xml_node parameter = settings.append_child("parameter");
        parameter.append_attribute("name").set_value(name.c_str());
        parameter.append_attribute("value").set_value(value.c_str());
    }
    std::ostringstream text;
    document.save(text, "  ", pugi::format_default, pugi::encoding_utf8);
    return text.str();
}

bool SettingsRecord::Parse(const std::string& xml, SettingsRecord& record, std::string& error) {
    pugi::xml_document document;
    // As a fragment, so that text beside the root is kept and can be refused.
    const pugi::xml_parse_result parsed =
        document.load_buffer(xml.data(), xml.size(), pugi::parse_default | pugi::parse_fragment, pugi::encoding_utf8);
    if (!parsed) {
        error = std::string("not well-formed XML: ") + parsed.description() + " at byte " +
                std::to_string(parsed.offset);
        return false;
    }
    const pugi::xml_node settings = SoleRoot(document);
    if (xml.find('\0') != std::string::npos || !settings || RepeatsAttribute(settings)) {
        error = "not well-formed XML: a NUL byte, no root element or more than one, text beside it, or an attribute "
                "given twice";
        return false;
    }
    if (std::string(settings.name()) != "settings") {
        error = "not a \"settings\" record (the root element is \"" + std::string(settings.name()) + "\")";
        return false;
    }
    record = {};
    for (const pugi::xml_node parameter : settings.children("parameter"))
        record.Add(parameter.attribute("name").value(), parameter.attribute("value").value());
    return true;
}

} // namespace qcphost
