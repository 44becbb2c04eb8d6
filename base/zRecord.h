#pragma once
#include <cstdint>
#include <list>
#include <string>
#include <string_view>
#include <vector>

#include "zRect.h"

// A keyed record tree: a record has a name, named text fields in the order
// they were first set, and ordered child records that it owns. Settings and
// property lists travel between host and plug-in in this form (see zXML).
//
// Field values are kept as text; the typed readers parse that text and fall
// back to the caller's default when the field is missing or its text is not a
// valid value of the type. Text forms:
// - bool: written "true"/"false"; read from "true"/"false", "yes"/"no" or
//   "1"/"0", letters in any case.
// - int32, uint32: decimal digits with an optional leading '-' (int32 only).
//   The whole text must be the number: no spaces, no '+', no trailing
//   characters, and a value outside the type's range is rejected, not wrapped.
// - rect: "left,top,right,bottom", four int32 texts as above joined by commas
//   without spaces; edges are inclusive, so the empty rectangle is "0,0,-1,-1".
class zRecord {
public:
    struct Field {
        std::string name;
        std::string value;

        friend bool operator==(const Field&, const Field&) = default;
    };

    explicit zRecord(std::string name = {}) : fName(std::move(name)) {}

    const std::string& Name() const { return fName; }
    void SetName(std::string name) { fName = std::move(name); }

    // Fields. Setting a field that exists replaces its value in place, so the
    // order stays that of first setting.
    const std::vector<Field>& Fields() const { return fFields; }
    bool HasField(std::string_view name) const { return Find(name) != nullptr; }

    bool AsBool(std::string_view name, bool defaultValue) const;
    int32_t AsInt32(std::string_view name, int32_t defaultValue) const;
    uint32_t AsUInt32(std::string_view name, uint32_t defaultValue) const;
    std::string AsText(std::string_view name, std::string defaultValue) const;
    zRect AsRect(std::string_view name, zRect defaultValue) const;

    void SetBool(std::string_view name, bool value);
    void SetInt32(std::string_view name, int32_t value);
    void SetUInt32(std::string_view name, uint32_t value);
    void SetText(std::string_view name, std::string value);
    void SetRect(std::string_view name, const zRect& value);

    // Children, in the order added. A list keeps the reference AddChild
    // returns valid while more children are added.
    zRecord& AddChild(std::string name);
    const std::list<zRecord>& Children() const { return fChildren; }
    // The first child with that name, or null.
    const zRecord* FindChild(std::string_view name) const;
    zRecord* FindChild(std::string_view name);

    friend bool operator==(const zRecord&, const zRecord&) = default;

private:
    // The XML reader fills fields directly once it has checked that their
    // names are distinct, so that wide elements do not cost a search per
    // attribute.
    friend class zXML;

    const std::string* Find(std::string_view name) const;

    std::string fName;
    std::vector<Field> fFields;
    std::list<zRecord> fChildren;
};
