#pragma once
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace qcphost {

// A source's settings record as the host builds and reads it: "parameter"
// children of a "settings" element, each a "name" and a "value", in order.
// Written and read with an XML library, so any text, quotes and angle
// brackets included, travels as it is.
class SettingsRecord {
public:
    // Appends a parameter; the plug-in applies them in this order.
    void Add(const std::string& name, const std::string& value);
    // The value of the first parameter of that name.
    std::optional<std::string> Value(const std::string& name) const;
    const std::vector<std::pair<std::string, std::string>>& parameters() const { return fParameters; }

    std::string ToXml() const;
    // False, with the reason in `error`, when the text is not well-formed XML
    // or its root is not "settings".
    static bool Parse(const std::string& xml, SettingsRecord& record, std::string& error);

private:
    std::vector<std::pair<std::string, std::string>> fParameters;
};

} // namespace qcphost
