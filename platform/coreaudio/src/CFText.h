#pragma once
#include <string>
#include <vector>

#include "CoreFoundation/CoreFoundation.h"

// Text in and out of the CF values the device layers' properties carry.
namespace qcp::coreaudio {

// A CFString's text; empty for null or anything else.
std::string TextOf(CFTypeRef string);
// The text a dictionary holds under `key`; empty when it holds none.
std::string TextForKey(CFDictionaryRef dictionary, const char* key);
// The texts of the CFArrayRef at `data`; false when it is no array.
bool StringsOf(const void* data, std::vector<std::string>& strings);
// New values, owned by the caller.
CFStringRef MakeString(const std::string& text);
CFArrayRef MakeStringArray(const std::vector<std::string>& texts);

} // namespace qcp::coreaudio
