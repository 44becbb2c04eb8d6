#pragma once
#include <X11/extensions/Xrandr.h>

#include <map>
#include <memory>
#include <mutex>
#include <optional>

#include "Screens.h"
#include "X11Atoms.h"
#include "X11Connection.h"
#include "X11Monitors.h"
#include "X11Server.h"

namespace qcp::platform::x11 {

// The screen list from RandR: one entry per active monitor, the primary
// first; display id = the monitor's RandR output; frames in the macOS
// convention; backing scale 1; the product name from the EDID, else the
// output's name.
//
// `list` asks the server for the monitors (one round trip), so a change is
// seen at the next call. `listWithMouse`, which the cursor asks at every
// refresh, asks for the pointer alone and keeps the monitors it last read
// until the server reports a RandR change, which it does before answering;
// monitors that clients set, which change without a report, are read again
// at least once in X11Monitors::kUnreportedChangeMicros (on the zTime
// clock). The outputs' names, EDIDs and refresh rates are kept until any
// RandR change. Any thread; the connection is guarded by the mutex.
//
// Without a reachable server the list is empty; asking for it is what tries
// a lost server again (see X11Server).
class X11Screens final : public Screens {
public:
    explicit X11Screens(X11Server& server) : fServer(server) {}

    using Screens::list;
    void list(std::vector<ScreenInfo>& screens) const override;
    // The list and the mouse location (see X11Cursor) in one round trip.
    Point listWithMouse(std::vector<ScreenInfo>& screens) const;
    // The monitor a display id names now, none when it is not attached.
    std::optional<ScreenInfo> screen(uint32_t displayID) const;

private:
    struct OutputDetails {
        std::optional<std::string> productName;
        double refreshRate = 0;
    };

    // What belongs to one connection.
    struct Link {
        explicit Link(std::unique_ptr<X11Connection> connection);
        const std::unique_ptr<X11Connection> connection;
        const X11Atoms atoms;
        int randrEventBase = -1; // -1 without RandR
        std::map<uint32_t, OutputDetails> details;
        std::optional<int64_t> monitorsRead; // when fMonitors were read on this link
    };

    // Fills `screens`, and `mouse` when asked for; the caller holds fMutex.
    void Fill(std::vector<ScreenInfo>& screens, Point* mouse) const;
    // Whether the server reported a RandR change (the details are dropped then).
    static bool DropDetailsOnChange(Link& link);
    static const OutputDetails& Details(Link& link, const X11Monitor& monitor);
    static OutputDetails ReadDetails(const Link& link, const X11Monitor& monitor);

    X11Server& fServer;
    mutable std::mutex fMutex;
    mutable std::unique_ptr<Link> fLink;
    mutable std::vector<X11Monitor> fMonitors; // reused from call to call
};

} // namespace qcp::platform::x11
