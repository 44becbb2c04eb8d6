#pragma once
#include <cstddef>
#include <string_view>

#include "zBuffer.h"
#include "zRecord.h"

namespace pugi {
class xml_node;
}

// Reads and writes a zRecord tree as XML: each record is an element named
// after it, its fields are the element's attributes in order, its children
// are the element's child elements in order.
//
//   <settings>
//     <parameter name="Type" value="0" />
//   </settings>
//
// Neither function throws; both are safe on any input.
class zXML {
public:
    // Records deeper than this are refused, so hostile input cannot exhaust
    // the stack of the recursive tree code.
    static constexpr size_t kMaxDepth = 256;

    // Parses UTF-8 XML text into `out`. Fails on empty or malformed text, on
    // text with NUL bytes, without a root element, with more than one or with
    // text beside it, with a repeated attribute, or nested deeper than
    // kMaxDepth; `out` is then left untouched. Comments, processing
    // instructions, a document type, a leading byte order mark and text inside
    // elements are skipped.
    static bool ParseBuffer(std::string_view text, zRecord& out);

    // Appends the record as a UTF-8 XML document: an XML declaration, then
    // the elements indented by two spaces per level, "\n" line ends, no byte
    // order mark. Fails, leaving `out` untouched, when a record or field name
    // is not an XML name, a field value holds a NUL byte (XML cannot carry
    // one) or the tree is deeper than kMaxDepth.
    static bool RecordToBuffer(const zRecord& record, zBuffer& out);

private:
    static bool ReadElement(const pugi::xml_node& element, size_t depth, zRecord& out);
};
