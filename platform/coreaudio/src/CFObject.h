#pragma once
// What a CFTypeRef points at here: one reference-counted C++ object, a
// subclass per CF type. Every CFTypeRef handed out is the address of a
// __CFObject base (the only base of each type, so the same address).
#include <atomic>
#include <string>
#include <vector>

#include "CoreFoundation/CoreFoundation.h"

// This subset's own type ids; CoreFoundation assigns its ids at run time,
// so nothing may depend on their values.
enum : CFTypeID {
    kQcpCFStringTypeID = 7,
    kQcpCFBooleanTypeID = 21,
    kQcpCFDictionaryTypeID = 18,
    kQcpCFArrayTypeID = 19,
};

struct __CFObject {
    explicit __CFObject(CFTypeID type, bool immortal = false) : fType(type), fImmortal(immortal) {}
    virtual ~__CFObject() = default;
    __CFObject(const __CFObject&) = delete;
    __CFObject& operator=(const __CFObject&) = delete;

    const CFTypeID fType;
    const bool fImmortal; // the constant booleans
    mutable std::atomic<CFIndex> fReferences{1};
};

struct __CFString final : __CFObject {
    explicit __CFString(std::string text) : __CFObject(kQcpCFStringTypeID), fText(std::move(text)) {}
    const std::string fText;
};

struct __CFBoolean final : __CFObject {
    explicit __CFBoolean(bool value) : __CFObject(kQcpCFBooleanTypeID, true), fValue(value) {}
    const bool fValue;
};

struct __CFDictionary final : __CFObject {
    __CFDictionary() : __CFObject(kQcpCFDictionaryTypeID) {}
    ~__CFDictionary() override;
    std::vector<std::pair<CFTypeRef, CFTypeRef>> fPairs; // retained
};

struct __CFArray final : __CFObject {
    __CFArray() : __CFObject(kQcpCFArrayTypeID) {}
    ~__CFArray() override;
    std::vector<CFTypeRef> fValues; // retained
};

namespace qcp::coreaudio {
inline const __CFObject* AsObject(CFTypeRef cf) { return static_cast<const __CFObject*>(cf); }
// The text of a CF string; empty for null or for another type.
std::string StringValue(CFTypeRef cf);
} // namespace qcp::coreaudio
