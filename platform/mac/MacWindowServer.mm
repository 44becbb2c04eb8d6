#include "MacWindowServer.h"

#include <dlfcn.h>
#include <unistd.h>

#include <vector>

#include "MacImages.h"

namespace qcp::platform::mac {
namespace {
// CGWindowListCreateImage as CoreGraphics exports it.
using CreateImage = CGImageRef (*)(CGRect screenBounds, CGWindowListOption listOption, CGWindowID windowID,
                                   CGWindowImageOption imageOption);

CreateImage CreateImageFunction() {
    static const CreateImage function =
        reinterpret_cast<CreateImage>(dlsym(RTLD_DEFAULT, "CGWindowListCreateImage"));
    return function;
}

// A value of the entry when it is of the type asked for; null otherwise.
CFTypeRef Value(CFDictionaryRef entry, CFStringRef key, CFTypeID type) {
    const CFTypeRef value = CFDictionaryGetValue(entry, key);
    return value && CFGetTypeID(value) == type ? value : nullptr;
}

std::optional<std::string> Text(CFDictionaryRef entry, CFStringRef key) {
    const auto text = static_cast<CFStringRef>(Value(entry, key, CFStringGetTypeID()));
    if (!text) return std::nullopt;
    const CFIndex size = CFStringGetMaximumSizeForEncoding(CFStringGetLength(text), kCFStringEncodingUTF8) + 1;
    std::vector<char> bytes(static_cast<size_t>(size));
    if (!CFStringGetCString(text, bytes.data(), size, kCFStringEncodingUTF8)) return std::nullopt;
    return std::string(bytes.data());
}

std::optional<int64_t> Number(CFDictionaryRef entry, CFStringRef key) {
    const auto number = static_cast<CFNumberRef>(Value(entry, key, CFNumberGetTypeID()));
    int64_t value = 0;
    if (!number || !CFNumberGetValue(number, kCFNumberSInt64Type, &value)) return std::nullopt;
    return value;
}

std::vector<WindowInfo> List(CGWindowListOption option, CGWindowID relativeTo) {
    std::vector<WindowInfo> windows;
    CFArrayRef list = CGWindowListCopyWindowInfo(option, relativeTo);
    if (!list) return windows;
    const CFIndex count = CFArrayGetCount(list);
    windows.reserve(size_t(count));
    for (CFIndex i = 0; i < count; ++i) {
        const auto entry = static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(list, i));
        if (entry && CFGetTypeID(entry) == CFDictionaryGetTypeID())
            if (std::optional<WindowInfo> info = MacWindowServer::Describe(entry)) windows.push_back(std::move(*info));
    }
    CFRelease(list);
    return windows;
}
} // namespace

std::optional<WindowInfo> MacWindowServer::Describe(CFDictionaryRef entry) {
    const std::optional<int64_t> number = Number(entry, kCGWindowNumber);
    if (!number || *number <= 0) return std::nullopt;
    WindowInfo info;
    info.number = uint32_t(*number);
    info.title = Text(entry, kCGWindowName);
    info.ownerName = Text(entry, kCGWindowOwnerName);
    info.ownerPID = int32_t(Number(entry, kCGWindowOwnerPID).value_or(0));
    if (const auto bounds = static_cast<CFDictionaryRef>(Value(entry, kCGWindowBounds, CFDictionaryGetTypeID()))) {
        CGRect rect{};
        if (CGRectMakeWithDictionaryRepresentation(bounds, &rect))
            info.bounds = {rect.origin.x, rect.origin.y, rect.size.width, rect.size.height};
    }
    const auto onScreen = static_cast<CFBooleanRef>(Value(entry, kCGWindowIsOnscreen, CFBooleanGetTypeID()));
    info.onScreen = onScreen && CFBooleanGetValue(onScreen);
    return info;
}

std::vector<WindowInfo> MacWindowServer::windowList(bool onScreenOnly) const {
    return List(onScreenOnly ? kCGWindowListOptionOnScreenOnly : kCGWindowListOptionAll, kCGNullWindowID);
}

std::optional<WindowInfo> MacWindowServer::window(uint32_t number) const {
    for (WindowInfo& info : List(kCGWindowListOptionIncludingWindow, number))
        if (info.number == number) return std::move(info);
    return std::nullopt;
}

ImageRef MacWindowServer::windowImage(uint32_t number) const {
    const CreateImage create = CreateImageFunction();
    if (!create) return nullptr;
    CGImageRef image =
        create(CGRectNull, kCGWindowListOptionIncludingWindow, number, kCGWindowImageBoundsIgnoreFraming);
    if (!image) return nullptr;
    ImageRef picture = ImageFromCGImage(image);
    CGImageRelease(image);
    return picture;
}

int32_t MacWindowServer::ownPID() const { return int32_t(getpid()); }

} // namespace qcp::platform::mac
