#include "X11Monitors.h"

#include <X11/Xlib-xcb.h>
#include <xcb/randr.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace qcp::platform::x11::X11Monitors {

bool HaveMonitors(Display* display) {
    int eventBase = 0, errorBase = 0, major = 0, minor = 0;
    return XRRQueryExtension(display, &eventBase, &errorBase) && XRRQueryVersion(display, &major, &minor) &&
           (major > 1 || (major == 1 && minor >= 5));
}

namespace {
X11Monitor FromInfo(const XRRMonitorInfo& info) {
    const RROutput output = info.noutput > 0 ? info.outputs[0] : None;
    return {uint32_t(output != None ? output : info.name), output,      info.name,          info.x, info.y,
            info.width,                                   info.height, info.primary != 0};
}

X11Monitor FromInfo(const xcb_randr_monitor_info_t& info) {
    const RROutput output = info.nOutput > 0 ? xcb_randr_monitor_info_outputs(&info)[0] : None;
    return {uint32_t(output != None ? output : info.name), output,      info.name,          info.x, info.y,
            info.width,                                   info.height, info.primary != 0};
}

// The primary first, the others in their order (without the buffer a stable
// partition takes).
void PrimaryFirst(std::vector<X11Monitor>& monitors) {
    const auto primary = std::find_if(monitors.begin(), monitors.end(), [](const X11Monitor& m) { return m.primary; });
    if (primary != monitors.end()) std::rotate(monitors.begin(), primary, primary + 1);
}

std::optional<X11Pointer> PointerAnswer(xcb_connection_t* connection, xcb_query_pointer_cookie_t asked) {
    std::optional<X11Pointer> pointer;
    if (xcb_query_pointer_reply_t* reply = xcb_query_pointer_reply(connection, asked, nullptr)) {
        if (reply->same_screen) pointer = X11Pointer{reply->root_x, reply->root_y};
        std::free(reply);
    }
    return pointer;
}

// Without RandR monitors: the root window as the one monitor.
X11Monitor RootMonitor(Window root, int width, int height) {
    return {uint32_t(root), None, None, 0, 0, width, height, true};
}

std::optional<X11Monitor> WholeRoot(Display* display, Window root) {
    XWindowAttributes attributes{};
    if (!XGetWindowAttributes(display, root, &attributes)) return std::nullopt;
    return RootMonitor(root, attributes.width, attributes.height);
}
} // namespace

std::vector<X11Monitor> Read(Display* display, Window root) {
    std::vector<X11Monitor> monitors;
    Read(display, root, monitors);
    return monitors;
}

void Read(Display* display, Window root, std::vector<X11Monitor>& monitors) {
    monitors.clear();
    if (!HaveMonitors(display)) {
        if (const std::optional<X11Monitor> whole = WholeRoot(display, root)) monitors.push_back(*whole);
        return;
    }
    int count = 0;
    XRRMonitorInfo* infos = XRRGetMonitors(display, root, True, &count);
    if (!infos) return;
    for (int i = 0; i < count; ++i) monitors.push_back(FromInfo(infos[i]));
    XRRFreeMonitors(infos);
    PrimaryFirst(monitors);
}

std::optional<X11Pointer> ReadWithPointer(Display* display, Window root, std::vector<X11Monitor>& monitors) {
    // Both questions go through XCB and leave in one write, so the server
    // reads them together and answers both in one write: one wait. (Asked
    // through Xlib, the second request went out only after the first, and
    // the answers came back apart: up to four waits.) Errors come back with
    // the answers, so no error trap is needed; none should be set around
    // this either, since Xlib cannot tell that these requests were answered
    // and a trap would sync for them.
    xcb_connection_t* connection = XGetXCBConnection(display);
    const bool haveMonitors = HaveMonitors(display);
    xcb_randr_get_monitors_cookie_t monitorsAsked{};
    xcb_get_geometry_cookie_t rootAsked{};
    if (haveMonitors) monitorsAsked = xcb_randr_get_monitors(connection, root, 1);
    else rootAsked = xcb_get_geometry(connection, root);
    const xcb_query_pointer_cookie_t pointerAsked = xcb_query_pointer(connection, root);
    monitors.clear();
    if (haveMonitors) {
        if (xcb_randr_get_monitors_reply_t* reply = xcb_randr_get_monitors_reply(connection, monitorsAsked, nullptr)) {
            for (auto it = xcb_randr_get_monitors_monitors_iterator(reply); it.rem; xcb_randr_monitor_info_next(&it))
                monitors.push_back(FromInfo(*it.data));
            std::free(reply);
        }
        PrimaryFirst(monitors);
    } else if (xcb_get_geometry_reply_t* reply = xcb_get_geometry_reply(connection, rootAsked, nullptr)) {
        monitors.push_back(RootMonitor(root, reply->width, reply->height));
        std::free(reply);
    }
    return PointerAnswer(connection, pointerAsked);
}

std::optional<X11Pointer> ReadPointer(Display* display, Window root) {
    xcb_connection_t* connection = XGetXCBConnection(display);
    return PointerAnswer(connection, xcb_query_pointer(connection, root));
}

X11Monitor ReadMain(Display* display, Window root) {
    std::optional<X11Monitor> main;
    if (!HaveMonitors(display)) {
        main = WholeRoot(display, root);
    } else {
        int count = 0;
        XRRMonitorInfo* infos = XRRGetMonitors(display, root, True, &count);
        for (int i = 0; i < count; ++i)
            if (!main || (infos[i].primary && !main->primary)) main = FromInfo(infos[i]);
        if (infos) XRRFreeMonitors(infos);
    }
    return main ? *main : Main(display, {});
}

X11Monitor Main(Display* display, const std::vector<X11Monitor>& monitors) {
    if (!monitors.empty()) return monitors.front();
    const Screen* screen = DefaultScreenOfDisplay(display);
    return {0, None, None, 0, 0, WidthOfScreen(screen), HeightOfScreen(screen), true};
}

Rect GlobalFrame(const X11Monitor& monitor, const X11Monitor& main) {
    return {double(monitor.x - main.x), double((main.y + main.height) - (monitor.y + monitor.height)),
            double(monitor.width), double(monitor.height)};
}

Point GlobalPoint(const X11Pointer& pointer, const X11Monitor& main) {
    return {double(pointer.x - main.x), double((main.y + main.height) - pointer.y)};
}

double RefreshRate(const XRRModeInfo& mode) {
    double lines = mode.vTotal;
    if (mode.modeFlags & RR_DoubleScan) lines *= 2;
    if (mode.modeFlags & RR_Interlace) lines /= 2;
    if (mode.hTotal == 0 || lines == 0) return 0;
    return double(mode.dotClock) / (double(mode.hTotal) * lines);
}

std::optional<std::string> EdidProductName(const uint8_t* edid, size_t size) {
    static constexpr uint8_t kHeader[8] = {0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00};
    if (!edid || size < 128 || std::memcmp(edid, kHeader, sizeof kHeader) != 0) return std::nullopt;
    // Four 18-byte descriptors from byte 54; a display descriptor starts with
    // three zero bytes, then its tag.
    for (size_t at = 54; at + 18 <= 126; at += 18) {
        const uint8_t* descriptor = edid + at;
        if (descriptor[0] != 0 || descriptor[1] != 0 || descriptor[2] != 0 || descriptor[3] != 0xFC) continue;
        std::string name(reinterpret_cast<const char*>(descriptor + 5), 13);
        name = name.substr(0, name.find('\n'));
        name.erase(name.find_last_not_of(' ') + 1);
        if (!name.empty()) return name;
    }
    return std::nullopt;
}

} // namespace qcp::platform::x11::X11Monitors
