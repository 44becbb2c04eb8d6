#pragma once
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "X11Connection.h"
#include "X11ServerState.h"

namespace qcp::platform::x11 {

// The X server the platform works on, by display name, and the one place
// where connections to it are made and remade.
//
// While the server is reachable, Connect opens a connection of the current
// generation. Once any connection meets the server's loss, the state is
// lost: every connection of that generation turns unusable at once, and
// Connect answers null, or, when the caller may reconnect, tries the same
// display name again, at most once a second for all callers together. The
// first success starts a new generation; the components notice that their
// connection is stale and connect again on their next use.
//
// The user log says once why there is no server at all (no display name,
// or the display cannot be opened the first time), once per loss that it
// was lost, and when it is back; failed retries say nothing. Any thread.
class X11Server {
public:
    // Whether a call may try to reach a lost server again.
    enum class Reconnect { IfLost, NotWhileLost };

    // `name` is the display name; empty when there is none ($DISPLAY unset):
    // then nothing is ever connected.
    explicit X11Server(std::string name);
    X11Server(const X11Server&) = delete;
    X11Server& operator=(const X11Server&) = delete;

    std::unique_ptr<X11Connection> Connect(Reconnect mode);

    // The connection-bound part of a component (a struct with a
    // `connection` member, made from a connection), kept while its
    // connection is usable and otherwise made anew; null while the server
    // cannot be reached. The caller holds the component's mutex.
    template <class Link>
    Link* Refresh(std::unique_ptr<Link>& link, Reconnect mode) {
        if (link && link->connection->usable()) return link.get();
        link.reset(); // closes the stale connection
        if (std::unique_ptr<X11Connection> connection = Connect(mode))
            link = std::make_unique<Link>(std::move(connection));
        return link.get();
    }

    const std::string& name() const { return fName; }
    const std::shared_ptr<X11ServerState>& state() const { return fState; }

private:
    std::unique_ptr<X11Connection> Reach();

    const std::string fName;
    const std::shared_ptr<X11ServerState> fState = std::make_shared<X11ServerState>();
    std::mutex fMutex;
    int64_t fLastAttempt = 0;     // guarded by fMutex; zTime microseconds
    bool fAttempted = false;      // guarded by fMutex
    uint64_t fReportedLoss = 0;   // guarded by fMutex: the last generation whose loss was logged
};

} // namespace qcp::platform::x11
