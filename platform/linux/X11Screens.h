#pragma once
#include <X11/extensions/Xrandr.h>

#include <map>
#include <memory>

#include "Screens.h"
#include "X11Atoms.h"
#include "X11Connection.h"
#include "X11Monitors.h"

namespace qcp::platform::x11 {

// The screen list from RandR: one entry per active monitor, the primary
// first; display id = the monitor's RandR output; frames in the macOS
// convention; backing scale 1; the product name from the EDID, else the
// output's name.
//
// Every call asks the server for the monitors (one round trip), so a change
// is seen at the next call. The outputs' names, EDIDs and refresh rates are
// kept between calls until the server reports any RandR change, which it
// does before answering that round trip. Any thread; the connection is
// guarded by its mutex.
class X11Screens final : public Screens {
public:
    explicit X11Screens(std::unique_ptr<X11Connection> connection);

    std::vector<ScreenInfo> list() const override;
    // The monitor a display id names now, none when it is not attached.
    std::optional<ScreenInfo> screen(uint32_t displayID) const;

private:
    struct OutputDetails {
        std::optional<std::string> productName;
        double refreshRate = 0;
    };

    // The caller holds the connection's mutex.
    void DropDetailsOnChange() const;
    const OutputDetails& Details(const X11Monitor& monitor) const;
    OutputDetails ReadDetails(const X11Monitor& monitor) const;

    std::unique_ptr<X11Connection> fConnection;
    const X11Atoms fAtoms;
    int fRandrEventBase = -1; // -1 without RandR
    mutable std::map<uint32_t, OutputDetails> fDetails;
};

} // namespace qcp::platform::x11
