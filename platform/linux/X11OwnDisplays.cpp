#include "X11OwnDisplays.h"

#include <array>
#include <atomic>

namespace qcp::platform::x11::X11OwnDisplays {
namespace {
std::array<std::atomic<Display*>, kCapacity> gDisplays{};
} // namespace

bool Add(Display* display) {
    for (std::atomic<Display*>& place : gDisplays) {
        Display* empty = nullptr;
        if (place.compare_exchange_strong(empty, display)) return true;
    }
    return false;
}

void Remove(Display* display) {
    for (std::atomic<Display*>& place : gDisplays) {
        Display* expected = display;
        if (place.compare_exchange_strong(expected, nullptr)) return;
    }
}

bool Contains(Display* display) {
    for (const std::atomic<Display*>& place : gDisplays)
        if (place.load() == display) return true;
    return false;
}

} // namespace qcp::platform::x11::X11OwnDisplays
