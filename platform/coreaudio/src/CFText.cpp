#include "CFText.h"

#include <cstring>

namespace qcp::coreaudio {

std::string TextOf(CFTypeRef string) {
    if (!string || CFGetTypeID(string) != CFStringGetTypeID()) return {};
    const char* text = CFStringGetCStringPtr(static_cast<CFStringRef>(string), kCFStringEncodingUTF8);
    return text ? text : "";
}

std::string TextForKey(CFDictionaryRef dictionary, const char* key) {
    const CFStringRef name = MakeString(key);
    std::string text = TextOf(CFDictionaryGetValue(dictionary, name));
    CFRelease(name);
    return text;
}

bool StringsOf(const void* data, std::vector<std::string>& strings) {
    CFArrayRef array;
    std::memcpy(&array, data, sizeof array);
    if (!array || CFGetTypeID(array) != CFArrayGetTypeID()) return false;
    strings.clear();
    for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) strings.push_back(TextOf(CFArrayGetValueAtIndex(array, i)));
    return true;
}

CFStringRef MakeString(const std::string& text) {
    return CFStringCreateWithCString(kCFAllocatorDefault, text.c_str(), kCFStringEncodingUTF8);
}

CFArrayRef MakeStringArray(const std::vector<std::string>& texts) {
    CFMutableArrayRef array = CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks);
    for (const auto& text : texts) {
        const CFStringRef string = MakeString(text);
        CFArrayAppendValue(array, string);
        CFRelease(string);
    }
    return array;
}

} // namespace qcp::coreaudio
