#include <algorithm>
#include <cctype>
#include <cstring>

#include "CFObject.h"

namespace {

bool IsUTF8(const char* text) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(text);
    while (*bytes) {
        const unsigned char lead = *bytes++;
        int continuation = lead < 0x80 ? 0 : (lead >> 5) == 0x6 ? 1 : (lead >> 4) == 0xE ? 2 : (lead >> 3) == 0x1E ? 3 : -1;
        if (continuation < 0) return false;
        for (; continuation > 0; --continuation)
            if ((*bytes++ & 0xC0) != 0x80) return false;
    }
    return true;
}

bool IsASCII(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

int Sign(int value) { return value < 0 ? -1 : value > 0 ? 1 : 0; }

char Fold(char c, bool caseInsensitive) {
    return caseInsensitive ? static_cast<char>(std::tolower(static_cast<unsigned char>(c))) : c;
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Runs of digits compare by value ("1.0.10" after "1.0.3"), the rest byte by
// byte; equal values with different leading zeros count as equal.
int CompareNumerically(const std::string& a, const std::string& b, bool caseInsensitive) {
    size_t i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
        if (IsDigit(a[i]) && IsDigit(b[j])) {
            while (i < a.size() && a[i] == '0') ++i;
            while (j < b.size() && b[j] == '0') ++j;
            size_t endA = i, endB = j;
            while (endA < a.size() && IsDigit(a[endA])) ++endA;
            while (endB < b.size() && IsDigit(b[endB])) ++endB;
            if (endA - i != endB - j) return endA - i < endB - j ? -1 : 1;
            if (const int order = a.compare(i, endA - i, b, j, endB - j)) return Sign(order);
            i = endA;
            j = endB;
            continue;
        }
        const char x = Fold(a[i++], caseInsensitive), y = Fold(b[j++], caseInsensitive);
        if (x != y) return static_cast<unsigned char>(x) < static_cast<unsigned char>(y) ? -1 : 1;
    }
    return i < a.size() ? 1 : j < b.size() ? -1 : 0;
}

} // namespace

namespace qcp::coreaudio {
std::string StringValue(CFTypeRef cf) {
    if (!cf || CFGetTypeID(cf) != kQcpCFStringTypeID) return {};
    return static_cast<const __CFString*>(AsObject(cf))->fText;
}
} // namespace qcp::coreaudio

extern "C" {

CFTypeID CFStringGetTypeID(void) { return kQcpCFStringTypeID; }

CFStringRef CFStringCreateWithCString(CFAllocatorRef, const char* cStr, CFStringEncoding encoding) {
    if (!cStr) return nullptr;
    if (encoding == kCFStringEncodingUTF8 ? !IsUTF8(cStr) : encoding != kCFStringEncodingASCII || !IsASCII(cStr))
        return nullptr;
    return new __CFString(cStr);
}

CFStringRef CFStringCreateWithCStringNoCopy(CFAllocatorRef alloc, const char* cStr, CFStringEncoding encoding,
                                            CFAllocatorRef) {
    return CFStringCreateWithCString(alloc, cStr, encoding);
}

const char* CFStringGetCStringPtr(CFStringRef theString, CFStringEncoding encoding) {
    if (!theString) return nullptr;
    const std::string& text = theString->fText;
    if (encoding == kCFStringEncodingUTF8 || (encoding == kCFStringEncodingASCII && IsASCII(text)))
        return text.c_str();
    return nullptr;
}

Boolean CFStringGetCString(CFStringRef theString, char* buffer, CFIndex bufferSize, CFStringEncoding encoding) {
    const char* text = CFStringGetCStringPtr(theString, encoding);
    if (!text || !buffer || bufferSize <= 0) return false;
    const size_t length = theString->fText.size();
    if (length + 1 > static_cast<size_t>(bufferSize)) return false;
    std::memcpy(buffer, text, length + 1);
    return true;
}

CFIndex CFStringGetLength(CFStringRef theString) {
    if (!theString) return 0;
    CFIndex units = 0;
    for (const char c : theString->fText) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte & 0xC0) != 0x80) units += byte >= 0xF0 ? 2 : 1; // four-byte sequences are surrogate pairs
    }
    return units;
}

CFComparisonResult CFStringCompare(CFStringRef theString1, CFStringRef theString2,
                                   CFStringCompareFlags compareOptions) {
    const std::string& a = theString1->fText;
    const std::string& b = theString2->fText;
    const bool caseInsensitive = compareOptions & kCFCompareCaseInsensitive;
    if (compareOptions & kCFCompareNumerically) return CompareNumerically(a, b, caseInsensitive);
    size_t i = 0;
    for (; i < a.size() && i < b.size(); ++i) {
        const char x = Fold(a[i], caseInsensitive), y = Fold(b[i], caseInsensitive);
        if (x != y) return static_cast<unsigned char>(x) < static_cast<unsigned char>(y) ? -1 : 1;
    }
    return a.size() == b.size() ? 0 : i < a.size() ? 1 : -1;
}
}
