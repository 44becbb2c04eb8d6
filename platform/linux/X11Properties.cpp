#include "X11Properties.h"

#include <X11/Xatom.h>
#include <X11/Xutil.h>

namespace qcp::platform::x11::X11Properties {
namespace {

// Frees what XGetWindowProperty returned, whatever happens to the copy.
struct PropertyData {
    unsigned char* bytes = nullptr;
    ~PropertyData() {
        if (bytes) XFree(bytes);
    }
};

} // namespace

std::optional<std::vector<unsigned long>> ReadLongs(Display* display, Window window, Atom property, Atom type) {
    Atom actualType = None;
    int format = 0;
    unsigned long count = 0, remaining = 0;
    PropertyData data;
    // Up to 64 K items: far more than any client list.
    if (XGetWindowProperty(display, window, property, 0, 65536, False, type, &actualType, &format, &count, &remaining,
                           &data.bytes) != Success ||
        actualType != type || format != 32 || !data.bytes)
        return std::nullopt;
    const auto* items = reinterpret_cast<const unsigned long*>(data.bytes);
    return std::vector<unsigned long>(items, items + count);
}

std::optional<std::string> ReadBytes(Display* display, Window window, Atom property, Atom* type) {
    Atom actualType = None;
    int format = 0;
    unsigned long count = 0, remaining = 0;
    PropertyData data;
    if (XGetWindowProperty(display, window, property, 0, 16384, False, AnyPropertyType, &actualType, &format, &count,
                           &remaining, &data.bytes) != Success ||
        actualType == None || format != 8 || !data.bytes)
        return std::nullopt;
    if (type) *type = actualType;
    return std::string(reinterpret_cast<const char*>(data.bytes), count);
}

std::optional<std::string> ReadTitle(Display* display, Window window, const X11Atoms& atoms) {
    Atom type = None;
    if (std::optional<std::string> name = ReadBytes(display, window, atoms.netWmName, &type);
        name && type == atoms.utf8String)
        return name;
    std::optional<std::string> name = ReadBytes(display, window, XA_WM_NAME, &type);
    if (!name) return std::nullopt;
    if (type == XA_STRING) return Latin1ToUtf8(*name);
    if (type == atoms.compoundText) {
        XTextProperty text{reinterpret_cast<unsigned char*>(name->data()), type, 8, name->size()};
        char** list = nullptr;
        int count = 0;
        if (Xutf8TextPropertyToTextList(display, &text, &list, &count) >= Success && list) {
            std::string converted = count > 0 && list[0] ? list[0] : "";
            XFreeStringList(list);
            return converted;
        }
    }
    return name; // UTF8_STRING, or text we cannot convert, as it is
}

std::optional<std::string> ReadClassName(Display* display, Window window) {
    XClassHint hint{};
    if (!XGetClassHint(display, window, &hint)) return std::nullopt;
    std::optional<std::string> name;
    if (hint.res_class) name = Latin1ToUtf8(hint.res_class);
    if (hint.res_name) XFree(hint.res_name);
    if (hint.res_class) XFree(hint.res_class);
    return name;
}

std::optional<std::string> ReadClientMachine(Display* display, Window window) {
    Atom type = None;
    std::optional<std::string> machine = ReadBytes(display, window, XA_WM_CLIENT_MACHINE, &type);
    if (!machine) return std::nullopt;
    // Some clients count the C string's terminator in.
    while (!machine->empty() && machine->back() == '\0') machine->pop_back();
    if (machine->empty()) return std::nullopt;
    return type == XA_STRING ? Latin1ToUtf8(*machine) : *machine;
}

std::string Latin1ToUtf8(const std::string& text) {
    std::string utf8;
    utf8.reserve(text.size());
    for (const unsigned char c : text) {
        if (c < 0x80) {
            utf8 += char(c);
        } else {
            utf8 += char(0xC0 | (c >> 6));
            utf8 += char(0x80 | (c & 0x3F));
        }
    }
    return utf8;
}

} // namespace qcp::platform::x11::X11Properties
