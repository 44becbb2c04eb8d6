#include "X11Atoms.h"

#include <array>
#include <utility>

namespace qcp::platform::x11 {

X11Atoms::X11Atoms(Display* display) {
    const std::array<std::pair<const char*, Atom*>, 13> wanted{{
        {"UTF8_STRING", &utf8String},
        {"COMPOUND_TEXT", &compoundText},
        {"_NET_CLIENT_LIST", &netClientList},
        {"_NET_CLIENT_LIST_STACKING", &netClientListStacking},
        {"_NET_WM_NAME", &netWmName},
        {"_NET_WM_PID", &netWmPid},
        {"_NET_FRAME_EXTENTS", &netFrameExtents},
        {"_NET_WM_STATE", &netWmState},
        {"_NET_WM_STATE_HIDDEN", &netWmStateHidden},
        {"_NET_WM_DESKTOP", &netWmDesktop},
        {"_NET_CURRENT_DESKTOP", &netCurrentDesktop},
        {"WM_STATE", &wmState},
        {"EDID", &edid},
    }};
    std::array<char*, wanted.size()> names{};
    std::array<Atom, wanted.size()> atoms{};
    for (size_t i = 0; i < wanted.size(); ++i) names[i] = const_cast<char*>(wanted[i].first);
    if (!XInternAtoms(display, names.data(), int(names.size()), False, atoms.data())) return;
    for (size_t i = 0; i < wanted.size(); ++i) *wanted[i].second = atoms[i];
}

} // namespace qcp::platform::x11
